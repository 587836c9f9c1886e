#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test:
#   ./test.sh                    in both builds, i386 and x86_64
#   ./test.sh i386-sanitize ...  in the presets named
set -euo pipefail
cd "$(dirname "$0")"
. cmake/setup.sh

presets=("$@")
[ $# -gt 0 ] || presets=(i386 x86_64)
mkdir -p build
installFor format "${presets[@]}"
for preset in "${presets[@]}"; do
  build "$preset"
  say "Testing build/$preset"
  ctest --preset "$preset" --parallel "$(nproc)" ||
    fail "tests of the build $preset failed; their output stands above."
done
say "All tests passed in: ${presets[*]}"
