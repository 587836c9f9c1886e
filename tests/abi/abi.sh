#!/usr/bin/env bash
# Compares the interfaces of libulmar, libulmar-host and libulmar-audio with their committed descriptions:
#   abi.sh SOURCE WORK ARCHITECTURE [CMAKE OPTION...]            exit 1 if they differ
#   abi.sh --renew SOURCE WORK ARCHITECTURE [CMAKE OPTION...]    writes them anew
# The libraries are built for it in WORK, unoptimized, with debug information.
set -euo pipefail

renew=
if [ "$1" = --renew ]; then
  renew=yes
  shift
fi
source=$1 work=$2 architecture=$3
shift 3
log=$work/abi.log
mkdir -p "$work"
{ cmake -S "$source" -B "$work" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBUILD_TESTING=OFF \
  -DULMAR_TOOLS=OFF -DULMAR_PLUGIN=OFF "$@" &&
  cmake --build "$work" --target ulmar ulmar_host_c ulmar_audio_c; } >"$log" 2>&1 || {
  tail -n 20 "$log" >&2
  exit 1
}

# compare LIBRARY reachable|all HEADER...: its symbols, and of the types that its headers declare
# those that a function names, or all.
compare() {
  local library=$1 types=$2 headers=() describe=(--exported-interfaces-only) differ=() header
  shift 2
  for header in "$@"; do headers+=(--header-file "$source/ulmar/$header"); done
  if [ "$types" = all ]; then
    describe=(--load-all-types --suppressions "$source/tests/abi/internal.supp")
    differ=(--non-reachable-types)
  fi
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names \
    --no-write-default-sizes --drop-undefined-syms --drop-private-types "${describe[@]}" \
    "${headers[@]}" --out-file "$work/$library.xml" "$work/$library.so"

  local committed=$source/tests/abi/$library.$architecture.xml
  [ -z "$renew" ] || sed "s|path='$source/|path='|" "$work/$library.xml" >"$committed"
  abidiff --no-show-locs "${differ[@]}" "$committed" "$work/$library.xml" || {
    echo "$library.so differs from $committed." >&2
    exit 1
  }
}

# UlmarProc takes its records as bytes, so that no function names them.
compare libulmar all process/host_records.h process/Ulmar_Process.h process/engine_state.h \
  convrt/convrt.h convrt/vec_complex.h fft/fft.h decoder/crossover.h spectral/OstinFFT.h
compare libulmar-host reachable host/ulmar_host.h
compare libulmar-audio reachable audio/ulmar_audio.h
