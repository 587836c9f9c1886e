#!/usr/bin/env bash
# Measures both builds beside the limits of the machine and beside their peers, and writes
# docs/performance.md and its picture. Installs what is missing. Takes some thirty minutes.
set -euo pipefail
cd "$(dirname "$0")"
. cmake/setup.sh
[ $# -eq 0 ] || { sed -n '2,3s/^# //p' "$0" >&2 && exit 2; }

mkdir -p build
installFor x86_64-bench i386-bench
for preset in x86_64-bench i386-bench; do
  build "$preset" ulmar_bench
  say "Measuring ${preset%-bench}"
  "build/$preset/ulmar_bench" >"build/$preset/figures.tsv" \
    2> >(tee "build/$preset/progress.log" >&2) ||
    fail "the benchmarks stopped; build/$preset/progress.log says where."
  say "Counting instructions, ${preset%-bench}"
  valgrind -q --tool=callgrind --combine-dumps=yes \
    --callgrind-out-file="build/$preset/callgrind.out" \
    "build/$preset/ulmar_bench" instructions 2>>"build/$preset/progress.log" ||
    fail "counting instructions stopped; build/$preset/progress.log says where."
  awk -f bench/boundaries.awk "build/$preset/callgrind.out" >>"build/$preset/figures.tsv"
done

say "Rendering files beside ffmpeg"
build x86_64-bench ulmar-render
bench/offline.sh "$PWD/build/x86_64-bench/ulmar-render" >>build/x86_64-bench/figures.tsv ||
  fail "rendering files stopped."

processor=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)
family=$(awk -F': ' '/^cpu family/ {f = $2} /^model\t/ {m = $2} END {print f ", model " m}' \
  /proc/cpuinfo)
compiler=$(c++ --version | head -n 1)
awk -v processor="$processor (family $family)" -v compiler="$compiler" -v out=docs \
  -f bench/report.awk build/x86_64-bench/figures.tsv build/i386-bench/figures.tsv
awk -f bench/picture.awk build/x86_64-bench/figures.tsv >docs/performance.svg
say "Wrote docs/performance.md and docs/performance.svg"
