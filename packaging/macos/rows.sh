# shellcheck shell=bash
# The rows of packaging/macos/report; to be sourced by it.
# shellcheck disable=SC2154 # what the other files set

url=http://localhost/cgi-bin/Quintora.cgi
bridge_by_www="sudo -u _www env -i $installed_bridge"
doctor_by_www="sudo -u _www env -i $installed_doctor --probe $installed_bridge"
# Ports where nothing listens: the preferences of all users name the first, those of _www the
# second.
port_of_all=47811
port_of_www=47812
# The only parts of a page and its header that are reported: the rest shows variables and fields.
tested='^HTTP/[0-9.]+ [0-9]+|in <b>[a-z]+</b> mode|port [0-9]+|error -?[0-9]+'
package=
apache_is_ready=
not_for_all="the present preferences could not be saved"

# Function and expectation of each row. Later rows depend on earlier ones.
# shellcheck disable=SC2034 # the report reads it
rows="
the_system|to be read
the_build|no warning; programs for both processors and the oldest system, with signature and property list
the_tests|all pass, and none is left out but those that a Mac has no place for
the_demo|a page in tunnel mode
apache_as_delivered|the module in a comment, the mapping of /cgi-bin/, the Include of other/
the_installation|programs of root and wheel with mode 755, the man page; folders that were there keep owner and mode
no_quarantine|no attribute com.apple.quarantine
apache_at_work|the configuration is accepted, before and with the report's; state = running after a restart
preferences_of_all_users|the sentence names port $port_of_all
preferences_of_www|/Library/WebServer; the sentence names port $port_of_www
arguments_are_no_preferences|the sentence names port $port_of_www, not 25
the_doctor_without_a_server|exit status 1, and a refused connection
a_page_by_apache|the doctor ends with 0; the page says tunnel mode and port $port_of_www
an_abnormal_end|500; whether the system writes a report of it is to be read
an_event_from_apache|error -600: the system's Apache is outside of every session
responsible_process|to be read
starts_in_apple_event_mode|to be read
starts_in_tunnel_mode|to be read
starts_of_a_program_that_links_CoreServices|to be read
starts_of_a_program_that_does_not|to be read
"

# A row that depends on one that was left out or failed is left out.
there_is_a_package() { only_if "there is no package" test -f "$package"; }
programs_are_there() {
  only_if "the programs are not installed" test -x "$installed_bridge" -a -x "$installed_doctor"
}
apache_is_there() {
  only_if "Apache does not run with the report's configuration" test -n "$apache_is_ready"
}

# only_if REASON COMMAND: leaves the row out, for this reason, unless the command succeeds.
only_if() {
  "${@:2}" && return
  leave_out "$1"
  return 1
}

# set_for_all KEY VALUE: sets a preference of all users, or leaves the row out ($not_for_all).
set_for_all() {
  if [[ -z "$preferences_are_kept" ]]; then
    leave_out "$not_for_all"
    return 1
  fi
  try "sudo defaults write $all_users $1 -string $2"
}

# wait_until COMMAND: for ten seconds at most.
wait_until() {
  local attempt
  for attempt in 1 2 3 4 5 6 7 8 9 10; do
    "$@" >/dev/null 2>&1 && return
    sleep 1
  done
  echo "(after $attempt seconds still not so: $*)"
}

the_system() {
  try "sw_vers"
  try "uname -m; sysctl -n machdep.cpu.brand_string"
  try "csrutil status"
  try "xcode-select -p; xcodebuild -version; c++ --version; cmake --version"
  try "httpd -v"
}

the_build() {
  keep_packages
  try "MINIMUM_SYSTEM=$MINIMUM_SYSTEM '$here/package'"
  agree ended_with 0
  agree did_not_say 'warning:'
  agree said 'is as it should be'
  package=$(sed -n 's/ is ready, .*//p' "$came")
}

the_tests() {
  try "'$root/script/test'"
  agree ended_with 0
  try "ctest --test-dir '$root/build/release' --show-only"
  agree did_not_say 'end_to_end_|faults_|uppercase_table|macos:'
}

the_demo() {
  try "'$root/script/demo'"
  agree ended_with 0
  agree said 'came in tunnel mode'
}

apache_as_delivered() {
  try "grep -nE 'cgid?_module|CGI-Exec|other/' $disk/etc/apache2/httpd.conf"
  agree said '^[0-9]+:[[:blank:]]*#LoadModule cgi_module libexec/apache2/mod_cgi.so'
  agree said '^[0-9]+:[[:blank:]]*ScriptAliasMatch .*/cgi-bin/.*CGI-Executables'
  agree said '^[0-9]+:[[:blank:]]*Include .*/etc/apache2/other/'
}

the_installation() {
  local before
  if is_installed; then
    leave_out "something is installed already; the other rows use that"
    return
  fi
  there_is_a_package || return
  keep_uninstalled
  # shellcheck disable=SC2086
  before=$(modes $folders)
  try "sudo installer -pkg '$package' -target ${disk:-/}"
  agree ended_with 0
  try "pkgutil --files $receipt"
  try "ls -le $installed_bridge $installed_doctor"
  agree said '^-rwxr-xr-x.* root +wheel .*/Quintora.cgi$'
  agree said '^-rwxr-xr-x.* root +wheel .*/quintora-doctor$'
  try "ls -lde $(xargs <<<"$folders")"
  agree still_true "$before"
  try "man -w quintora-doctor"
  agree said 'quintora-doctor[.]1'
}

# still_true LINES: whether these lines, from modes, are still true.
# shellcheck disable=SC2086
still_true() { ! grep -qvxF "$(modes $folders)" <<<"$1"; }

no_quarantine() {
  programs_are_there || return
  try "xattr -l $installed_bridge $installed_doctor"
  agree ended_with 0
  agree did_not_say 'com[.]apple[.]quarantine'
}

apache_at_work() {
  programs_are_there || return
  try "sudo apachectl configtest"
  if ! ended_with 0; then
    leave_out "Apache does not accept the configuration that it has"
    return
  fi
  keep_apache
  undo "sudo rm -f $configuration"
  try "printf '%s\n' 'LoadModule cgi_module libexec/apache2/mod_cgi.so' 'TimeOut 90' |
    sudo tee $configuration"
  try "sudo apachectl configtest"
  agree ended_with 0
  ended_with 0 || return # with this configuration Apache would not restart
  apache_is_ready=yes
  try "sudo apachectl restart"
  wait_until apache_is_running
  try "sudo launchctl print system/org.apache.httpd | grep -E '(state|pid) ='"
  agree said 'state = running'
  # For the other rows it does not matter which of the two commands starts it.
  apache_is_running || try "sudo apachectl start"
  wait_until curl --silent --output /dev/null http://localhost/
}

preferences_of_all_users() {
  programs_are_there || return
  if sudo test -e "$all_users.plist" && ! others_may_read "$all_users.plist"; then
    not_for_all="the present preferences are not for everybody to read"
  elif keep_preferences root "$all_users" "$all_users.plist"; then
    preferences_are_kept=yes
  fi
  set_for_all QZCGIConnectionProtocol TCP/IP || return
  set_for_all QZQuintoraServerPort "$port_of_all"
  try "ls -l $all_users.plist"
  try "sudo chmod 644 $all_users.plist"
  try "$bridge_by_www"
  agree said "port $port_of_all refused"
}

preferences_of_www() {
  programs_are_there || return
  try "dscl . -read /Users/_www NFSHomeDirectory"
  agree said ' /Library/WebServer$'
  keep_folder_of_www
  if ! keep_preferences _www "$domain" "$library_of_www/Preferences/$domain.plist"; then
    leave_out "the present preferences could not be saved"
    return
  fi
  try "sudo -H -u _www defaults write $domain QZQuintoraServerPort -string $port_of_www"
  # The other rows need the mode, too.
  [[ -n "$preferences_are_kept" ]] ||
    try "sudo -H -u _www defaults write $domain QZCGIConnectionProtocol -string TCP/IP"
  try "$bridge_by_www"
  agree said "port $port_of_www refused"
}

arguments_are_no_preferences() {
  programs_are_there || return
  try "$bridge_by_www -QZQuintoraServerPort 25"
  agree said "port $port_of_www refused"
}

the_doctor_without_a_server() {
  programs_are_there || return
  try "$doctor_by_www"
  agree ended_with 1
  agree said "port $port_of_www refused"
}

a_page_by_apache() {
  apache_is_there || return
  start_server "$port_of_www"
  try "$doctor_by_www"
  agree ended_with 0
  try "curl -si $url | grep -oE '$tested'"
  agree said 'in <b>tunnel</b> mode'
  agree said "$port_of_www"
  stop_server
}

an_abnormal_end() {
  apache_is_there || return
  keep_crash_reports
  try "curl -si -d a=%zz $url | grep -oE '$tested'"
  agree said '^HTTP/1.1 500'
  sleep 5 # so that the system can write one
  try "sudo ls $crash_reports | grep -i quintora"
}

an_event_from_apache() {
  apache_is_there || return
  set_for_all QZCGIConnectionProtocol Apple || return
  try "curl -si --max-time 90 $url | grep -oE '$tested'"
  agree said 'error -600$'
}

responsible_process() {
  apache_is_there || return
  try "sudo log show --last 2m --info --predicate 'subsystem == \"com.apple.TCC\"' | grep -i quintora"
}

# time_starts PROGRAM: times its starts as the web server's user, without variables, one by one.
time_starts() {
  # shellcheck disable=SC2016 # for the other shell
  sudo -u _www env -i /bin/bash -c 'TIMEFORMAT="%R seconds for $0 starts"
    time for ((i = 0; i < $0; i++)); do "$1" >/dev/null 2>&1; done' "${STARTS:-200}" "$1"
}

starts_in_apple_event_mode() {
  programs_are_there || return
  try "$bridge_by_www"
  if said 'error -600 '; then
    try "time_starts $installed_bridge"
  else
    leave_out "a server takes these events, or none could be sent"
  fi
}

starts_in_tunnel_mode() {
  programs_are_there || return
  set_for_all QZCGIConnectionProtocol TCP/IP || return
  try "$bridge_by_www"
  agree said "port $port_of_www refused"
  try "time_starts $installed_bridge"
}

# starts_of_program_with FRAMEWORK: times a program that links the framework and does nothing.
starts_of_program_with() {
  local program=$work/$1
  try "echo 'int main() {}' | c++ -x c++ - -framework $1 -o $program && chmod 755 $program"
  try "otool -L $program"
  agree said "/$1[.]framework/"
  try "$program" # the system examines a program when it is first started
  try "time_starts $program"
}

starts_of_a_program_that_links_CoreServices() { starts_of_program_with CoreServices; }
starts_of_a_program_that_does_not() { starts_of_program_with CoreFoundation; }
