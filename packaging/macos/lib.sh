# shellcheck shell=bash
# What the scripts of this folder share; to be sourced, not run. They work with the bash 3.2 of
# macOS.

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=script/lib.sh
source "$here/../../script/lib.sh"
# shellcheck disable=SC2034 # for those who source this
entitlements=$here/Quintora.entitlements
automation=com.apple.security.automation.apple-events
# What the package installs, seen from the root of the disk, and what the system records it as.
# shellcheck disable=SC2034
{
  bridge=Library/WebServer/CGI-Executables/Quintora.cgi
  doctor=usr/local/bin/quintora-doctor
  receipt=com.quintora.Quintora-CGI.pkg
}

# The oldest macOS that the x86_64 half of the programs runs on.
export MINIMUM_SYSTEM=${MINIMUM_SYSTEM:-10.11}

die() {
  printf '%s\n' "$*" >&2
  exit 1
}

# minimum_for ARCHITECTURE: the oldest macOS for this half; no Mac with arm64 has one before 11.0.
minimum_for() {
  case "$1 $MINIMUM_SYSTEM" in
    arm64\ 10.*) echo 11.0 ;;
    *) echo "$MINIMUM_SYSTEM" ;;
  esac
}

check_minimum_system() {
  [[ ! "$MINIMUM_SYSTEM" =~ ^[0-9]+$ ]] || MINIMUM_SYSTEM+=.0
  [[ "$MINIMUM_SYSTEM" =~ ^[0-9]+\.[0-9]+$ ]] ||
    die "MINIMUM_SYSTEM is $MINIMUM_SYSTEM, not a version like 10.13 or 12.0."
}

# need TOOL...: stops unless all of them are there.
need() {
  local tool
  for tool; do
    has_tool "$tool" ||
      die "$tool is missing. It comes with macOS and Xcode: run this on a Mac; there," \
        "xcode-select --install installs what only Xcode has."
  done
}

# plist_value FILE KEY: its value, a line. Fails, without a word, when FILE is no property list or
# has no such key.
plist_value() {
  python3 -c '
import plistlib, sys
with open(sys.argv[1], "rb") as file:
    print(plistlib.load(file)[sys.argv[2]])' "$@" 2>/dev/null
}

# embedded_info_plist BINARY: the property list inside it, of the first slice that has one.
embedded_info_plist() {
  otool -P "$1" | awk '
    /<\?xml/ { within = !seen }
    within { print }
    /<\/plist>/ { within = 0; seen = 1 }'
}

# check_info_plist FILE NAME: stops unless FILE has all that the system wants to know; NAME is what
# a person calls it.
check_info_plist() {
  local missing
  missing=$(python3 -c '
import plistlib, sys
keys = sys.argv[2:]
try:
    with open(sys.argv[1], "rb") as file:
        plist = plistlib.load(file)
    print(*[key for key in keys if not plist.get(key)])
except Exception:
    print(*keys)' "$1" CFBundleIdentifier CFBundleInfoDictionaryVersion CFBundleName \
    CFBundleShortVersionString CFBundleVersion LSMinimumSystemVersion NSAppleEventsUsageDescription)
  [[ -z "$missing" ]] || die "$2 is no property list with values for $missing."
}

# check_entitlements FILE NAME: stops unless FILE grants the sending of Apple events.
check_entitlements() {
  [[ "$(plist_value "$1" "$automation")" == True ]] || die "$2 does not grant $automation."
}
