# Shared by demo.sh and test.sh: their messages, and the Debian packages that a build needs.
# shellcheck shell=bash

say() { printf '\n== %s\n' "$*"; }

fail() {
  printf '\n%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

needRoot() {
  [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null ||
    fail "packages are missing, and installing them takes root or sudo."
}

asRoot() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# packagesFor PRESET: the packages that building and testing the preset takes. Cairo in 32
# bits is not among them, see tryCairo32. `format` and `tidy` stand for the tools that check
# the sources, `plugin` for a host that plays a file through it, `package` for the packages of
# both architectures.
packagesFor() {
  case $1 in
    format) echo clang-format && return ;;
    tidy) echo clang-tidy && return ;;
    plugin) echo lilv-utils && return ;;
  esac
  echo cmake g++ ninja-build pkg-config libcairo2-dev libcli11-dev nlohmann-json3-dev lv2-dev \
    python3
  if [ "$1" = package ]; then
    echo debhelper dpkg-dev fakeroot lintian binutils-i686-linux-gnu libsndfile1-dev libsoxr-dev \
      g++-multilib libsndfile1-dev:i386 libsoxr-dev:i386
    return
  fi
  echo sndfile-programs mandoc abigail-tools clang
  case $1 in
    i386*) echo g++-multilib libgtest-dev:i386 libsndfile1-dev:i386 libsoxr-dev:i386 ;;
    *) echo libgtest-dev libsndfile1-dev libsoxr-dev sordi python3-numpy doxygen ;;
  esac
  case $1 in
    *clang* | *fuzz) echo libclang-rt-14-dev ;;
    x86_64-bench) echo libbenchmark-dev libfftw3-dev libzita-convolver-dev valgrind ffmpeg sox ;;
    i386-bench) echo libbenchmark-dev:i386 libfftw3-dev:i386 libzita-convolver-dev:i386 ;;
  esac
}

# installFor PRESET...: installs what is missing of their packages. Without anything missing
# it neither asks for root nor calls apt-get.
installFor() {
  local preset package native installed
  local -a wanted missing=()
  command -v dpkg-query >/dev/null ||
    fail "the packages come from Debian 12 (or a relative with apt-get), which this is not."
  native=$(dpkg --print-architecture)
  [ "$native" = amd64 ] || fail "the builds need an x86-64 Debian, and this one is $native."

  mapfile -t wanted < <(
    for preset in "$@"; do packagesFor "$preset"; done | tr ' ' '\n' | sort -u)
  installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}:${Architecture}\n' |
    sed -n 's/^installed //p')
  for package in "${wanted[@]}"; do
    case $package in
      *:*) grep -qxF "$package" <<<"$installed" ;;
      *) grep -qxF -e "$package:$native" -e "$package:all" <<<"$installed" ;;
    esac || missing+=("$package")
  done
  if [ ${#missing[@]} -gt 0 ]; then installMissing "${missing[@]}"; fi
  case "$*" in
    *i386* | *package*) tryCairo32 ;;
  esac
}

# installMissing PACKAGE...
installMissing() {
  local log=build/install.log
  needRoot
  say "Installing $* (a minute or two; details in $log)"
  case "$*" in
    *:i386*) asRoot dpkg --add-architecture i386 ;;
  esac
  refreshPackageLists "$log"
  aptInstall "$@" >>"$log" 2>&1 || {
    tail -n 15 "$log" >&2
    fail "apt-get could not install all of: $*."
  }
}

aptInstall() {
  asRoot env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=120 \
    install -y --no-install-recommends --no-remove "$@"
}

# tryCairo32: cairo as a 32-bit library, for the pictures of the 32-bit programs. A package
# must have one version in all architectures, so that it cannot be installed while the
# archive of one is ahead of the other's. The programs are then built without pictures, and
# refuse them.
tryCairo32() {
  local log=build/cairo32.log
  if dpkg-query -W -f '${db:Status-Status}' libcairo2-dev:i386 2>/dev/null | grep -qx installed ||
    [ -e "$log" ]; then
    return 0
  fi
  say "Installing libcairo2-dev:i386 (details in $log)"
  aptInstall libcairo2-dev:i386 >"$log" 2>&1 ||
    echo "It cannot be installed beside its 64-bit twin: the 32-bit programs draw no pictures."
}

# refreshPackageLists LOG: a list that cannot be had is no reason to stop, as what is wanted
# may stand in the others.
refreshPackageLists() {
  needRoot
  asRoot apt-get update >"$1" 2>&1 ||
    echo "Not every package list could be refreshed; going on with those at hand."
}

# configure PRESET
configure() {
  say "Configuring build/$1"
  cmake --preset "$1" >build/configure.log 2>&1 || {
    cat build/configure.log >&2
    fail "the build $1 could not be configured; CMake's reason stands above."
  }
}

# build PRESET [TARGET...]: configures and builds, all targets where none is named.
build() {
  local preset=$1
  shift
  configure "$preset"
  say "Building build/$preset"
  cmake --build --preset "$preset" ${1:+--target "$@"} ||
    fail "the build $preset failed; the first error stands above."
}
