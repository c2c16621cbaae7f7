# shellcheck shell=bash
# What the scripts of this folder share; to be sourced, not run.

# install_packages PKG...
#
# Sees to it that the packages with these Debian names are there. On Debian the missing ones are
# installed, without a word when none is. Elsewhere nothing is installed: the function says what
# is missing and where to get it, and returns 1.
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
    # A package that was removed but not purged is still known, only not as "installed".
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

# has_tool TOOL: whether it can be run. macOS has stubs of the developer tools in /usr/bin, which only
# open a dialog as long as the tools are not installed.
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
# Sees to it that the presets portable and portable-arm64 have what they build with, on Debian.
install_portable_tools() {
  local processor
  processor=$(uname -m)
  install_packages cmake ninja-build clang lld llvm libc++-14-dev musl-dev
  if [[ "$1" == portable-arm64 && "$processor" != aarch64 ]]; then
    install_packages libgcc-12-dev-arm64-cross qemu-user-static
    unpack_foreign_package musl-dev arm64 build/aarch64-linux-musl
  else
    install_packages libgcc-12-dev
  fi
}

# unpack_foreign_package PKG ARCHITECTURE FOLDER
#
# Unpacks a package of Debian's for another processor, with lists of its own: apt, for this machine,
# keeps knowing this one's processor only. Nothing is done where the folder is there.
unpack_foreign_package() {
  if [[ -d "$3" ]]; then
    return
  fi
  local work apt
  mkdir -p "${3%/*}"
  work=$(mktemp -d "$PWD/$3.XXXXXX")
  mkdir -p "$work/lists/partial" "$work/archives/partial"
  apt=(apt-get -qq -o "APT::Architecture=$2" -o "APT::Architectures=$2"
    -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work" -o APT::Sandbox::User=)
  "${apt[@]}" update
  (cd "$work" && "${apt[@]}" download "$1")
  dpkg-deb --extract "$work/$1"_*.deb "$work/root"
  mv "$work/root" "$3"
  rm -r "$work"
}
