#!/usr/bin/env bash
# Builds the Debian packages of both architectures into build/packages; installs what it needs.
#   ./package.sh [--check]    and installs, uses and removes them, as root
set -euo pipefail
cd "$(dirname "$0")"
. cmake/setup.sh
[ $# -eq 0 ] || [ "$*" = --check ] || { sed -n '2,3s/^# //p' "$0" >&2 && exit 2; }

source=$PWD/build/package/ulmar
packages=$PWD/build/packages

# What lintian need not say: the makers have no public address, the owner has chosen no licence,
# and the packages go into no distribution.
accepted=bogus-mail-host,bogus-mail-host-in-debian-changelog,copyright-without-copyright-notice
accepted+=,bad-distribution-in-changes-file

# packageFor ARCHITECTURE
packageFor() {
  local log=build/package-$1.log
  say "Packaging for $1 (details in $log)"
  rm -rf build/package
  mkdir -p "$source"
  tar -c --exclude=./build --exclude=./.git . | tar -x -C "$source"
  cp -r packaging/debian "$source/debian"
  # Beside packages of their own, those of the other architecture cannot name what they are built
  # with; cmake/setup.sh has installed it.
  (cd "$source" && DEB_BUILD_OPTIONS='noautodbgsym nocheck' \
    dpkg-buildpackage -b -uc -us -d -a"$1" -j"$(nproc)") >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    fail "the packages for $1 could not be built."
  }
  mv build/package/*.deb "$packages"
  mv build/package/*.changes build/package/*.buildinfo "$packages"
  lintian --allow-root --fail-on error,warning --suppress-tags "$accepted" \
    "$packages"/*_"$1".changes || fail "lintian has found the above."
}

mkdir -p build "$packages"
rm -f "$packages"/*
installFor package
packageFor amd64
packageFor i386
ls -l "$packages"/*.deb
if [ $# -gt 0 ]; then packaging/check.sh "$packages"; fi
