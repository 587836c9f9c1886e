#!/usr/bin/env bash
# offline.sh RENDERER: ten minutes of stereo noise through responses of several lengths, by
# the renderer with one job and with all, and by ffmpeg's afir at the best of its partition
# lengths. Files lie in memory. Prints "name<TAB>seconds", medians of wall time
# over rounds in which all take their turn.
set -euo pipefail
renderer=$1
rounds=3
folder=$(mktemp -d /dev/shm/ulmar-offline.XXXXXX)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# seconds COMMAND...: wall time.
seconds() {
  local start=$EPOCHREALTIME
  "$@" >/dev/null 2>>log || { cat log >&2 && exit 1; }
  awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.4f", b - a }'
}

afir() { # PARTITION
  ffmpeg -nostdin -loglevel error -y -i dry.wav -i ir.wav -filter_complex \
    "[0:a][1:a]afir=minp=$1:maxp=$1:gtype=none" -c:a pcm_f32le out.wav
}
ours() { "$renderer" -i dry.wav --ir ir.wav -o out.wav --dry off "$@"; }

sox -R -n -r 48000 -c 2 -b 24 dry.wav synth 600 pinknoise vol 0.1
for length in 0.5 2.35 6 30; do
  printf 'offline %s\n' "$length" >&2
  sox -R -n -r 48000 -c 2 -b 24 ir.wav synth "$length" whitenoise vol 0.02 \
    fade t 0 "$length" "$length"
  for ((round = 0; round < rounds; ++round)); do
    printf 'one\t%s\n' "$(seconds ours --jobs 1)"
    printf 'all\t%s\n' "$(seconds ours)"
    for partition in 4096 8192 16384 32768; do
      printf 'afir-%s\t%s\n' "$partition" "$(seconds afir "$partition")"
    done
  done | sort | awk -F'\t' -v rounds="$rounds" -v length_="$length" '
    { times[$1, ++count[$1]] = $2 }
    END {
      for (name in count) {
        n = 0
        for (i = 1; i <= rounds; ++i) v[++n] = times[name, i]
        for (i = 1; i <= n; ++i)
          for (j = i + 1; j <= n; ++j) if (v[j] < v[i]) { t = v[i]; v[i] = v[j]; v[j] = t }
        median = v[int((n + 1) / 2)]
        if (name ~ /^afir-/) {
          if (best == "" || median < best) best = median
        } else printf "offline/%s/%s\t%s\n", length_, name, median
      }
      printf "offline/%s/afir\t%s\n", length_, best
    }'
done
