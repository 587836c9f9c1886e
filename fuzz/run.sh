#!/usr/bin/env bash
# Runs every fuzzer in turn for SECONDS each, from the corpus on:
#   fuzz/run.sh SECONDS [PRESET]    x86_64-fuzz unless it says i386-fuzz
# What is found stays in build/PRESET/findings; new inputs in build/PRESET/grown. Prints a line
# for each, name, executions, edges reached, and one for all. An input may take 2 s and 1.5 GiB at most.
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/setup.sh
[ $# -ge 1 ] || { sed -n '2,5s/^# //p' "$0" >&2 && exit 2; }

seconds=$1 preset=${2:-x86_64-fuzz}
mkdir -p build
installFor "$preset"
build "$preset" fuzz_stream fuzz_snapshot fuzz_read fuzz_render_options fuzz_inspect_options \
  fuzz_plugin >&2
mkdir -p "build/$preset/findings"
found=() said=()
# What libraries leak of broken files is theirs.
export LSAN_OPTIONS=suppressions=$PWD/tests/leaks.supp:print_suppressions=0
for fuzzer in stream snapshot read render_options inspect_options plugin; do
  corpus=fuzz/corpus/${fuzzer#*_}
  grown=build/$preset/grown/$fuzzer
  log=build/$preset/$fuzzer.log
  mkdir -p "$grown"
  "build/$preset/fuzz/fuzz_$fuzzer" -max_total_time="$seconds" -timeout=2 -rss_limit_mb=1536 \
    -malloc_limit_mb=1536 -max_len=8192 -print_final_stats=1 -close_fd_mask=1 \
    -artifact_prefix="build/$preset/findings/$fuzzer-" "$grown" "$corpus" >"$log" 2>&1 ||
    found+=("$fuzzer")
  edges=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' "$log" | tail -n 1)
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  printf '%s %s inputs, %s edges\n' "$fuzzer" "${runs:-0}" "${edges:-0}"
  said+=("$fuzzer ${runs:-0}")
done
[ ${#found[@]} -eq 0 ] || fail "found by: ${found[*]}; build/$preset/findings has the inputs."
printf '%s, ' "${said[@]}"
echo "inputs in $seconds s each: nothing found"
