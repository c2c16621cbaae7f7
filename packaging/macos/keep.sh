# shellcheck shell=bash
# What packaging/macos/report changes on a Mac, and how it restores that; to be sourced by it. A
# function keep_... is called before a change and registers, by undo, what is to be done at the end.
# shellcheck disable=SC2034,SC2154 # what the other files read and set

root=$(cd "$here/../.." && pwd)
disk=${DISK:-}
installed_bridge=$disk/$bridge
installed_doctor=$disk/$doctor
domain=com.quintora.QuintoraServer
all_users=$disk/Library/Preferences/$domain
library_of_www=$disk/Library/WebServer/Library
configuration=$disk/etc/apache2/other/quintora-report.conf
crash_reports=$disk/Library/Logs/DiagnosticReports
server=
keeper=
preferences_are_kept=

# folders_above PATH...: prints all directories above them, existing or not, the upper ones first.
folders_above() {
  local path
  for path; do
    while path=$(dirname "$path") && [[ "$path" != "${disk:-/}" ]]; do
      echo "$path"
    done
  done | sort -u
}

# Nothing that is installed has a blank in its path.
files=$("$here/package" --dry-run | sed "s|.* -> |$disk|")
# shellcheck disable=SC2086
folders=$(folders_above $files)

# snapshot: prints the state of all that the report may change and has to restore.
snapshot() {
  # shellcheck disable=SC2086
  modes $files $folders "$all_users.plist" "$library_of_www/Preferences" "$configuration"
  # Only checksums: the server's preferences may contain more than what is set here.
  echo "Preferences of all users: $(sudo -H -u root defaults read "$all_users" | cksum)"
  echo "Preferences of _www: $(sudo -H -u _www defaults read "$domain" | cksum)"
  echo "Receipt: $(pkgutil --pkg-info "$receipt" | grep version)"
  echo "Apache is $(apache_is_running || echo not) running, $(apache_is_enabled || echo not) enabled."
  names_of_crash_reports
}

# modes PATH...: prints owner, mode and path of each that exists, one in a line.
modes() { sudo stat -f '%u:%g %Lp %N' "$@" 2>/dev/null; }

# keep_mode PATH: its owner and mode are restored at the end.
keep_mode() { undo "restore_mode $(modes "$1")"; }

# restore_mode OWNER MODE PATH
restore_mode() {
  [[ "$(modes "$3")" == "$*" ]] || { sudo chown "$1" "$3" && sudo chmod "$2" "$3"; }
}

# keep_uninstalled: the package and the directories that it creates are removed at the end.
keep_uninstalled() {
  local path
  for path in $folders; do
    if [[ -d "$path" ]]; then
      keep_mode "$path"
    else
      undo "[[ ! -d '$path' ]] || sudo rmdir '$path'"
    fi
  done
  for path in $files; do
    undo "sudo rm -f '$path'"
  done
  undo "! pkgutil --pkg-info $receipt >/dev/null 2>&1 || sudo pkgutil --forget $receipt"
}

is_installed() {
  local path
  for path in $files; do
    [[ ! -e "$path" ]] || return 0
  done
  pkgutil --pkg-info "$receipt" >/dev/null 2>&1
}

# keep_packages: packages that were built before, perhaps notarised, are restored at the end.
keep_packages() {
  local path
  mkdir "$work/packages"
  for path in "$root"/build/macos/Quintora-*.pkg; do
    [[ ! -f "$path" ]] || cp -p "$path" "$work/packages"
  done
  undo "find '$work/packages' -type f -exec cp -p {} '$root/build/macos' ';'"
}

# keep_preferences USER DOMAIN FILE: fails when they cannot be saved and so must not be changed.
# Nobody else may read the saved file, so the import gets it as its standard input.
keep_preferences() {
  local command="sudo -H -u $1 defaults" saved=$work/$1.plist
  if sudo test -e "$3"; then
    $command export "$2" - >"$saved" && [[ -s "$saved" ]] || return 1
    keep_mode "$3"
    undo "$command import '$2' - <'$saved'"
  else
    undo "sudo rm -f '$3'"
  fi
  undo "$command delete '$2' || true" # a key that was not there before would outlive the import
}

# others_may_read FILE
others_may_read() { [[ "$(modes "$1")" =~ ^[0-9:]+\ [0-7]*[4-7]\  ]]; }

# keep_folder_of_www: creates the directory of _www's preferences, which the system does not have.
keep_folder_of_www() {
  local made=$library_of_www/Preferences
  if ! sudo test -d "$made"; then
    sudo test -d "$library_of_www" || made=$library_of_www
    undo "sudo rm -rf '$made'"
    try "sudo mkdir -p $library_of_www/Preferences && sudo chown -R _www:_www $made"
  fi
}

apache_is_running() {
  sudo launchctl print system/org.apache.httpd 2>/dev/null | grep 'state = running' >/dev/null
}
apache_is_enabled() {
  sudo launchctl print-disabled system |
    grep -E '"org.apache.httpd" => (false|enabled)' >/dev/null
}

# keep_apache: whether it runs, and whether it starts with the system, is restored at the end.
keep_apache() {
  local running=no enabled=disable
  if apache_is_running; then running=yes; fi
  if apache_is_enabled; then enabled=enable; fi
  undo "restore_apache $running $enabled"
}

restore_apache() {
  if [[ "$1" == no ]]; then
    sudo apachectl stop || true # fails if Apache does not run now, because launchd retries its start
    # apachectl start and stop also set whether Apache starts with the system.
    sudo launchctl "$2" system/org.apache.httpd
  elif apache_is_running; then
    sudo apachectl restart
  else
    sudo apachectl start
  fi
}

start_server() {
  undo stop_server
  python3 "$root/examples/quintora_server.py" --port "$1" >"$work/server" 2>&1 </dev/null &
  server=$!
  wait_until grep . "$work/server"
}

# keep_sudo: the report takes longer than sudo remembers the password, so this renews it. It ends
# with the report, even if that is killed.
keep_sudo() {
  while kill -0 $$ && sudo -n -v; do sleep 50; done >/dev/null 2>&1 </dev/null 4>&- &
  keeper=$!
}

stop_keeping_sudo() {
  kill "$keeper"
  wait "$keeper"
} 2>/dev/null

stop_server() {
  [[ -n "$server" ]] || return 0
  kill "$server"
  wait "$server" 2>/dev/null
  server=
}

# keep_crash_reports: new ones are removed at the end.
keep_crash_reports() {
  names_of_crash_reports >"$work/crash-reports"
  undo remove_new_crash_reports
}

names_of_crash_reports() { sudo ls "$crash_reports" 2>/dev/null | grep -i quintora; }

remove_new_crash_reports() {
  local name
  names_of_crash_reports >"$work/crash-reports-now"
  while IFS= read -r name; do
    grep -qxF -- "$name" "$work/crash-reports" || sudo rm -f "$crash_reports/$name"
  done <"$work/crash-reports-now"
}
