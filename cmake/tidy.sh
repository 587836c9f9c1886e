#!/usr/bin/env bash
# Holds the sources to .clang-tidy; installs what is missing. Takes some ten minutes on two
# processors:
#   cmake/tidy.sh             all of ulmar/, apps/ and plugins/
#   cmake/tidy.sh PATTERN...  the sources whose paths match, as 'ulmar/host/.*'
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/setup.sh

# clang's own build: it knows no options of g++.
preset=x86_64-clang
mkdir -p build
installFor tidy "$preset"
configure "$preset"
say "Checking with clang-tidy"
patterns=("$@")
[ $# -gt 0 ] || patterns=("$PWD/(ulmar|apps|plugins)/.*\\.cpp\$")
run-clang-tidy -quiet -p "build/$preset" -j "$(nproc)" "${patterns[@]}" >build/tidy.log 2>&1 || {
  grep -E '(error|warning):' build/tidy.log | sort -u >&2 || tail -n 20 build/tidy.log >&2
  fail "clang-tidy found the above; build/tidy.log shows the lines."
}
say "clang-tidy has nothing to say"
