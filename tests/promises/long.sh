# Sourced by test.sh for --long: puts every promise of docs/promises.md to the test, prints the
# figures and writes them into the page's table. Takes about an hour.
# shellcheck shell=bash

figures=build/promises.tsv
fuzzSeconds=75  # for each fuzzer
broken=()

# promise NAME COMMAND...: the last line that the command prints is the figure.
promise() {
  local name=$1 line
  shift
  say "$name: $*"
  if "$@" >"build/promise-$name.log" 2>&1; then
    line=$(tail -n 1 "build/promise-$name.log")
  else
    line="**broken**: $(tail -n 1 "build/promise-$name.log")"
    broken+=("$name")
  fi
  printf '%s\n' "$line"
  printf '%s\t%s\n' "$name" "$line" >>"$figures"
}

# inBoth COMMAND...: the command for each build, with BUILD replaced by its folder; prints what
# both said last.
inBoth() {
  local preset lines=()
  for preset in x86_64 i386; do
    "${@//BUILD/build/$preset}" >build/promise.part 2>&1 || {
      cat build/promise.part
      return 1
    }
    cat build/promise.part
    lines+=("$preset: $(tail -n 1 build/promise.part)")
  done
  printf '%s; %s\n' "${lines[@]}"
}

# testsOf PATTERN PRESET...: the tests whose names match, in each of the builds.
testsOf() {
  local pattern=$1 preset passed=()
  shift
  for preset in "$@"; do
    ctest --preset "$preset" -R "$pattern" --no-tests=error --output-on-failure || return 1
    passed+=("$preset")
  done
  echo "passed in ${passed[*]}"
}

# randomStreams ROUNDS
randomStreams() {
  local preset count=0
  for preset in x86_64 i386; do
    ULMAR_ROUNDS=$1 "build/$preset/tests/memory_test" --gtest_filter='Memory.Stays*:Memory.Holds*' ||
      return 1
    count=$((count + $1 * $(grep -c '^      {"' tests/process/configurations.h)))
  done
  echo "$count random streams, no access outside"
}

worstBoundary() {
  valgrind -q --tool=callgrind --combine-dumps=yes --callgrind-out-file=build/boundaries.out \
    build/x86_64-bench/ulmar_bench instructions || return 1
  awk -f bench/boundaries.awk build/boundaries.out | sort | awk -F'\t' '
    { kind = $1 ~ /one/ ? "one" : "two"; if ($2 > most[kind]) most[kind] = $2 }
    END { printf "one engine %.3f, two engines %.2f\n", most["one"], most["two"] }'
}

compilersAgree() {
  build x86_64-clang >/dev/null && build i386-clang >/dev/null &&
    testsOf '^(cross|stream|tail|fading_stream)$' x86_64 i386 x86_64-clang i386-clang
}

sanitized() {
  build x86_64-sanitize >/dev/null && build x86_64-tsan >/dev/null &&
    testsOf . x86_64-sanitize && testsOf threads x86_64-tsan || return 1
  echo "all tests with AddressSanitizer and UBSan, threads with ThreadSanitizer: nothing found"
}

writeTable() {
  awk -F'\t' -v figures="$figures" '
    BEGIN { while ((getline line < figures) > 0) { split(line, f, "\t"); latest[f[1]] = f[2] } }
    {
      n = split($0, cell, " \\| ")
      name = cell[1]; gsub(/[|` ]/, "", name)
      if (/^\| `/ && name in latest) {
        sub(/ \| [^|]* \|$/, "")
        print $0 " | " latest[name] " |"
      } else print
    }' docs/promises.md >build/promises.md
  mv build/promises.md docs/promises.md
}

keepAllPromises() {
  local preset
  rm -f "$figures"
  for preset in x86_64-bench i386-bench; do
    build "$preset" ulmar_bench ulmar_hostile ulmar_real_time
  done
  promise memory randomStreams 1000
  promise calls testsOf '^(memory|plugin|plugin_threads)$' x86_64 i386
  promise bits compilersAgree
  promise jobs testsOf '^render$' x86_64 i386
  promise load worstBoundary
  promise hostile inBoth BUILD-bench/ulmar_hostile
  promise failing inBoth python3 tests/promises/faults.py BUILD calls
  promise starved inBoth python3 tests/promises/faults.py BUILD memory
  promise killed inBoth python3 tests/promises/faults.py BUILD kills
  promise full inBoth python3 tests/promises/faults.py BUILD disk
  promise crash fuzz/run.sh "$fuzzSeconds"
  promise arithmetic inBoth BUILD/fuzz/fuzz_stream --random 150000
  promise interface testsOf '^abi$' x86_64 i386
  promise hardened testsOf 'frame.hardened' x86_64 i386
  promise sanitized sanitized
  promise realtime build/x86_64-bench/ulmar_real_time 600
  writeTable
  say "docs/promises.md has the figures"
  [ ${#broken[@]} -eq 0 ] || fail "broken: ${broken[*]}; build/promise-*.log say how."
}
