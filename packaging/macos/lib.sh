# shellcheck shell=bash
# What the scripts of this folder share; to be sourced, not run. They run with the bash 3.2 of
# macOS.

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=script/lib.sh
source "$here/../../script/lib.sh"
# shellcheck disable=SC2034 # used where this is sourced
entitlements=$here/Quintora.entitlements
automation=com.apple.security.automation.apple-events
# What the package installs, relative to the root of the disk, and the identifier of its receipt.
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

# need TOOL...: exits unless all of them are there.
need() {
  local tool
  for tool; do
    has_tool "$tool" ||
      die "$tool is missing. It comes with macOS and Xcode: run this on a Mac; there," \
        "xcode-select --install installs what only Xcode has."
  done
}

# plist_value FILE KEY: prints the key's value. Fails silently when FILE is not a property list or
# does not have the key.
plist_value() {
  python3 -c '
import plistlib, sys
with open(sys.argv[1], "rb") as file:
    print(plistlib.load(file)[sys.argv[2]])' "$@" 2>/dev/null
}

# embedded_info_plist BINARY: prints the property list inside it, from the first slice that has one.
embedded_info_plist() {
  otool -P "$1" | awk '
    /<\?xml/ { within = !seen }
    within { print }
    /<\/plist>/ { within = 0; seen = 1 }'
}

# check_info_plist FILE NAME: exits unless FILE has all keys that the system requires; NAME is its
# name for the message.
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

# check_entitlements FILE NAME: exits unless FILE grants the sending of Apple events.
check_entitlements() {
  [[ "$(plist_value "$1" "$automation")" == True ]] || die "$2 does not grant $automation."
}
