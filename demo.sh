#!/usr/bin/env bash
# Installs what is missing, builds the renderer and the plug-in and lets them be heard:
#   ./demo.sh                   recorded speech in a recorded hall, and in a synthetic one for
#                               two loudspeakers and for five
#   ./demo.sh DRY.wav HALL.wav  your recording in your hall
set -euo pipefail
case $# in
  0) ;;
  2) dry=$(realpath -m -- "$1") hall=$(realpath -m -- "$2") ;;
  *) sed -n '2,5s/^# //p' "$0" >&2 && exit 2 ;;
esac
caller=$PWD
cd "$(dirname "$0")"
. cmake/setup.sh
[ $# -eq 0 ] || [ -r "$dry" ] || fail "there is no file $dry to read."
[ $# -eq 0 ] || [ -r "$hall" ] || fail "there is no file $hall to read."

# What is written is named so that it is found from where the script was called.
out=build/demo
[ . -ef "$caller" ] || out=$PWD/$out

# fetchFrom PACKAGE PATH: takes one file out of a Debian package without installing it.
fetchFrom() {
  local package=$1 path=$2 log=build/fetch.log
  local file=$out/${path##*/}
  [ -s "$file" ] && return
  say "Fetching ${path##*/} from Debian's package $package"
  rm -rf "$out/package" && mkdir -p "$out/package"
  download() (cd "$out/package" && apt-get download "$package") >"$log" 2>&1
  download || {
    refreshPackageLists "$log"
    download
  } || {
    tail -n 5 "$log" >&2
    fail "the package $package could not be downloaded."
  }
  dpkg-deb --fsys-tarfile "$out"/package/*.deb | tar -xO "./$path" >"$file.part" ||
    fail "the package $package holds no $path."
  mv "$file.part" "$file"
  rm -r "$out/package"
}

# render DRY WET OPTION...: the response's energy is brought to 1, so that halls recorded at
# any level leave headroom in the mix.
render() {
  local dry=$1 wet=$2
  shift 2
  say "Rendering $wet"
  build/x86_64/ulmar-render -i "$dry" "$@" --normalize energy --dry -6 -o "$wet" |
    tee "$out/report.txt" ||
    fail "$wet was not written, for the reason above."
  written+=("$wet ($(sed -n 's/^rendered *//p' "$out/report.txt"))")
}

mkdir -p "$out"
written=()
installFor x86_64 plugin
build x86_64 ulmar-render ulmar_lv2_bundle
if [ $# -eq 2 ]; then
  name=$(basename -- "${dry%.*}")
  render "$dry" "$out/$name-in-$(basename -- "${hall%.*}").wav" \
    --ir "$hall" --wet -15
else
  dry=$out/a11wlk01.wav hall=$out/greathall.wav
  fetchFrom supercollider-common usr/share/SuperCollider/sounds/a11wlk01.wav
  fetchFrom guitarix-common usr/share/gx_head/sounds/greathall.wav
  render "$dry" "$out/speech-in-great-hall.wav" --ir "$hall" --wet -15
  render "$dry" "$out/speech-in-synthetic-hall.wav" --room hall --wet -9
  render "$dry" "$out/speech-in-synthetic-hall-5.1.wav" --room hall --wet -9 --out-layout 5.1
  wet=$out/speech-through-plugin.wav
  say "Playing it through the LV2 plug-in: $wet"
  LV2_PATH=$PWD/build/x86_64/lv2 lv2apply -i "$dry" -o "$wet" -c response 3 -c dry -6 -c wet -12 \
    urn:ulmar:lv2:mono_to_stereo || fail "lv2apply could not play $dry through the plug-in."
  written+=("$wet (the cathedral, by lv2apply)")
  say "Levels of the channels of $out/speech-in-synthetic-hall-5.1.wav (RMS):"
  sed -n 's/, as RMS$//; s/^level */   /p' "$out/report.txt" | sed 's/, /\n   /g'
fi

say "Written; to be heard beside $dry:"
printf '   %s\n' "${written[@]}"
