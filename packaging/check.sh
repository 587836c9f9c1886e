#!/usr/bin/env bash
# Installs the packages of a folder, uses them as somebody would who has nothing else, and removes
# them again; as root:
#   packaging/check.sh FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/setup.sh
[ $# -eq 1 ] || { sed -n '2,4s/^# //p' "$0" >&2 && exit 2; }

packages=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
needRoot
aptInstall lilv-utils python3-numpy python3-soundfile gcc g++ cmake ninja-build pkg-config >"$work/log" 2>&1 ||
  fail "the programs that use the packages could not be installed."

say "Installing both architectures side by side"
aptInstall "$packages"/*_amd64.deb "$packages"/lib*_i386.deb >"$work/log" 2>&1 || {
  tail -n 20 "$work/log" >&2
  fail "the packages cannot be installed together."
}

say "Using them"
cp /usr/share/doc/libulmar-dev/examples/* "$work"
cd "$work"
gcc -std=c99 -Wall -Werror plain_host.c $(pkg-config --cflags --libs ulmar-host) -o host
gcc -m32 -std=c99 plain_host.c -I/usr/include -L/usr/lib/i386-linux-gnu -lulmar-host -o host32
ulmar-render --room hall --save-response hall.wav --quiet
ulmar-inspect hall.wav --csv >hall.csv
/usr/bin/python3 - <<'PYTHON'
import numpy
import soundfile
import ulmar
dry = numpy.zeros((4800, 2), numpy.float32)
dry[0] = 0.5
hall = ulmar.read_response("hall.wav", 44100)
assert len(hall) > 44100 and abs(hall).max() > 0.0, hall.shape
soundfile.write("dry.wav", dry, 44100)
wet = ulmar.render(dry, numpy.ones((10, 2), numpy.float32))
assert abs(wet[5, 0] - 0.5) < 1e-5, wet[:12]
numpy.ones((10, 2), numpy.float32).tofile("response.f32")
dry.tofile("dry.f32")
PYTHON
/usr/bin/python3 render.py dry.wav hall.wav wet.wav
[ -s wet.wav ] || fail "the renderer in Python wrote nothing."
./host response.f32 <dry.f32 >wet.f32
./host32 response.f32 <dry.f32 | cmp - wet.f32
[ "$(stat -c %s wet.f32)" = "$(stat -c %s dry.f32)" ] || fail "the host in C lost samples."
lv2ls | grep -q urn:ulmar:lv2 || fail "the plug-in is not found by hosts."
man -w ulmar-render >/dev/null 2>&1 || test -f /usr/share/man/man1/ulmar-render.1.gz ||
  fail "there is no manual page."
mkdir consumer
cat >consumer/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
find_package(Ulmar REQUIRED)
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE Ulmar::host Ulmar::audio)
CMAKE
cat >consumer/main.cpp <<'CPP'
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/stream.h"
int main() {
  const auto file = ulmar::audio::readAudioFile("hall.wav");
  const auto responses = ulmar::host::arrangeResponses(file.samples, 2);
  const ulmar::host::StreamPlan plan(2, 2, responses.shape(), {});
  return ulmar::host::Stream(plan, responses).latency() == 512 ? 0 : 1;
}
CPP
cmake -S consumer -B consumer/build -G Ninja >/dev/null
cmake --build consumer/build >/dev/null
consumer/build/consumer

say "Removing them"
asRoot dpkg --purge ulmar-tools ulmar-lv2 libulmar-dev:amd64 libulmar-dev:i386 \
  libulmar-audio1:amd64 libulmar-audio1:i386 libulmar-host1:amd64 libulmar-host1:i386 libulmar1:amd64 libulmar1:i386 >"$work/log" 2>&1 ||
  fail "they cannot be removed; $(tail -n 1 "$work/log")"
left=$(find /usr/lib /usr/bin /usr/include /usr/share -iname '*ulmar*' -print -quit)
[ -z "$left" ] || fail "$left is left behind."
say "The packages install, work and go"
