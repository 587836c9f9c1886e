#!/usr/bin/env bash
# Prints a table of what an instance of the plug-in costs in stereo beside the convolution
# plug-ins of Debian's package x42-plugins, for responses of 2 and 6 s and blocks of 64, 128
# and 512 frames: the mean, and what 99.9 % of the calls stay within, in per cent of the time
# that the audio lasts.
#   bench/plugins.sh BUILD_FOLDER       (its ulmar_plugin_bench and bundle)
set -euo pipefail
build=$1
export LV2_PATH=$build/lv2:/usr/lib/lv2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
for seconds in 2 6; do
  sox -n -r 48000 -c 2 "$folder/$seconds.wav" synth "$seconds" whitenoise \
    fade l 0 "$seconds" "$seconds" gain -30
done
# Plug-ins print lines of their own. Quiet machines give steadier figures: the least of three runs, turn about.
measure() {
  local run
  for run in 1 2 3; do
    { "$build/ulmar_plugin_bench" "$@" 2>>"$folder/log" || echo "- -"; } | tail -n 1
  done | sort -n | head -n 1
}
printf '| response, block | ulmar.lv2 | zeroconvo | convoLV2 |\n|---|---|---|---|\n'
for seconds in 2 6; do
  for block in 64 128 512; do
    printf '| %s s, %s |' "$seconds" "$block"
    while read -r uri key; do
      read -r mean worst < <(measure "$uri" "$key" "$folder/$seconds.wav" "$block")
      printf ' %s / %s |' "$mean" "$worst"
    done <<'PLUGINS'
urn:ulmar:lv2:stereo urn:ulmar:lv2:response
http://gareus.org/oss/lv2/zeroconvolv#Stereo http://gareus.org/oss/lv2/zeroconvolv#ir
http://gareus.org/oss/lv2/convoLV2#Stereo http://gareus.org/oss/lv2/convoLV2#impulse
PLUGINS
    printf '\n'
  done
done
