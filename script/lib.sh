# shellcheck shell=bash
# Functions that the scripts share; to be sourced, not run.

# install_packages PKG...
#
# Makes sure that the packages with these Debian names are there. On Debian, installs the missing
# ones, and prints nothing when there are none. Elsewhere installs nothing: prints what is missing
# and where to get it, and returns 1.
install_packages() {
  if command -v dpkg-query >/dev/null; then
    install_debian_packages "$@"
  else
    name_missing_tools "$@"
  fi
}

install_debian_packages() {
  local package missing=() as_root=()
  for package in "$@"; do
    # A package that was removed but not purged is listed, too, but not as "installed".
    if [[ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
      missing+=("$package")
    fi
  done
  if ((${#missing[@]} == 0)); then
    return 0
  fi
  if ((EUID != 0)); then
    as_root=(sudo)
  fi
  echo "Installing with apt-get, which can take minutes: ${missing[*]}" >&2
  ${as_root[@]+"${as_root[@]}"} apt-get update -qq
  ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# has_tool TOOL: whether it can be run. On macOS /usr/bin has stubs of the developer tools, which
# only open a dialog as long as the tools are not installed.
has_tool() {
  command -v "$1" >/dev/null || return 1
  case "$1" in
    c++ | clang++ | lipo | otool | python3 | xcrun)
      ! command -v xcode-select >/dev/null || xcode-select -p >/dev/null 2>&1
      ;;
  esac
}

name_missing_tools() {
  local package missing=()
  for package in "$@"; do
    case "$package" in
      g++) has_tool c++ || missing+=("c++: xcode-select --install") ;;
      clang) has_tool clang++ || missing+=("clang++: xcode-select --install") ;;
      python3) has_tool python3 || missing+=("python3: xcode-select --install") ;;
      apache2-bin) [[ -x /usr/sbin/httpd ]] || missing+=("/usr/sbin/httpd: comes with macOS") ;;
      ninja-build) command -v ninja >/dev/null || missing+=("ninja: brew install ninja") ;;
      libgtest-dev | libgmock-dev)
        brew list googletest >/dev/null 2>&1 || missing+=("GoogleTest: brew install googletest")
        ;;
      *) command -v "$package" >/dev/null || missing+=("$package: brew install $package") ;;
    esac
  done
  if ((${#missing[@]} == 0)); then
    return 0
  fi
  echo "Please install what is missing and try again:" >&2
  printf '  %s\n' "${missing[@]}" >&2
  return 1
}

# install_portable_tools PRESET
#
# Installs what the presets portable (for this machine's processor), portable-amd64 and
# portable-arm64 need for building, on Debian.
install_portable_tools() {
  local own wanted
  own=$(dpkg --print-architecture)
  wanted=${1#portable}
  wanted=${wanted#-}
  install_packages cmake ninja-build clang lld llvm libc++-14-dev musl-dev
  case "${wanted:-$own}" in
    "$own") install_packages libgcc-12-dev ;;
    amd64) install_foreign_tools amd64 x86_64 ;;
    arm64) install_foreign_tools arm64 aarch64 ;;
  esac
}

# install_foreign_tools ARCHITECTURE PROCESSOR: Debian's and the system's name of the processor.
install_foreign_tools() {
  install_packages "libgcc-12-dev-$1-cross" qemu-user-static
  unpack_package musl-dev "$1" "build/$2-linux-musl"
}

# unpack_package PKG ARCHITECTURE FOLDER
#
# Unpacks a Debian package that must not be installed: one for another processor, or a web server,
# which would start. Uses package lists of its own, so that this machine's apt is not configured for
# another processor. Does nothing if the folder is already unpacked and, where this machine has the
# package, of the same version. Whatever happens, the folder is complete or absent.
unpack_package() (
  version=$(dpkg-query -W -f='${Version}' "$1" 2>/dev/null || true)
  if [[ -f "$3/unpacked-for" && "$(cat "$3/unpacked-for")" == "$version" ]]; then
    return
  fi
  mkdir -p "${3%/*}"
  unpacking=$(mktemp -d "$PWD/$3.XXXXXX")
  trap 'rm -rf "$unpacking"' EXIT
  trap 'exit 1' HUP INT TERM # which runs the trap above
  mkdir -p "$unpacking/lists/partial" "$unpacking/archives/partial"
  apt=(apt-get -qq -o "APT::Architecture=$2" -o "APT::Architectures=$2"
    -o "Dir::State::Lists=$unpacking/lists" -o "Dir::Cache=$unpacking" -o APT::Sandbox::User=)
  "${apt[@]}" update
  (cd "$unpacking" && "${apt[@]}" download "$1")
  dpkg-deb --extract "$unpacking/$1"_*.deb "$unpacking/root"
  echo "$version" >"$unpacking/root/unpacked-for"
  rm -rf "$3"
  mv "$unpacking/root" "$3"
)
