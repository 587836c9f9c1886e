#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test:
#   ./test.sh                    in both builds, i386 and x86_64
#   ./test.sh i386-sanitize ...  in the presets named
#   ./test.sh --long             and puts all of docs/promises.md to the test, in an hour
set -euo pipefail
cd "$(dirname "$0")"
. cmake/setup.sh

presets=("$@")
long=
if [ "$*" = --long ]; then
  long=yes
  presets=()
fi
[ ${#presets[@]} -gt 0 ] || presets=(i386 x86_64)
mkdir -p build
installFor format "${presets[@]}" \
  ${long:+x86_64-bench i386-bench x86_64-fuzz x86_64-clang i386-clang x86_64-sanitize x86_64-tsan}
for preset in "${presets[@]}"; do
  build "$preset"
  say "Testing build/$preset"
  ctest --preset "$preset" --parallel "$(nproc)" ||
    fail "tests of the build $preset failed; their output stands above."
done
say "All tests passed in: ${presets[*]}"
if [ -n "$long" ]; then
  . tests/promises/long.sh
  keepAllPromises
fi
