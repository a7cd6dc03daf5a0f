#!/usr/bin/env bash
# Codes a video to out/demo.avi, decodes it again, compares, and shows what came of it.
# usage: ./demo.sh [CLIP [options of tkmjpg encode]], for example ./demo.sh holiday.mp4 --quality 90
# CLIP is any video (it goes through ffmpeg if it is neither Y4M nor PNG); without one it is the
# command's own moving test picture.
set -euo pipefail
case "${1:-}" in -h | --help) sed -n '2,5s/^# //p' "$0"; exit 0 ;; esac
clip=${1:-testcard:720x576@25}
options=("${@:2}")
case "$clip" in /* | testcard:*) ;; *) clip=$PWD/$clip ;; esac
cd "$(dirname "$0")"
film=out/demo.avi picture=out/demo.png
tkmjpg=build/release/tools/tkmjpg/tkmjpg

scripts/packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target tkmjpg_command
mkdir -p out
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What the command reads: the clip itself, or what feed puts on its standard input.
case "$clip" in
  testcard:* | *.[yY]4[mM] | *.[pP][nN][gG]) source=$clip ;;
  *) source=- ;;
esac
feed() {
  [ "$source" = - ] || return 0
  ffmpeg -nostdin -v error -i "$clip" -f yuv4mpegpipe -pix_fmt yuv422p -strict -1 -
}

# Runs the command; its messages go to a file named after the subcommand, and are shown if it fails.
step() {
  echo "tkmjpg $*" >&2
  "$tkmjpg" "$@" 2>"$work/$1" || { cat "$work/$1" >&2; return 1; }
}
# The number before a word in such a file: "... 0.662 bits per pixel, 225.6 fps".
number() { grep -oP "[0-9.]+(?= $2)" "$work/$1" | tail -1; }

# One frame of the source as a picture.
source_picture() {
  if [[ $clip = testcard:* ]]; then
    step testcard "${clip#testcard:}" "$2" --frame "$1"
  else
    ffmpeg -nostdin -v error -i "$clip" -vf "select=eq(n\,$1)" -frames:v 1 -y "$2"
  fi
}

feed | step encode "$source" "$film" --force "${options[@]}"
step decode "$film" - >/dev/null
feed | step compare "$source" "$film" >"$work/psnr"

middle=$(($(number encode frames) / 2))
source_picture "$middle" "$work/source.png"
cp "$work/decode" "$work/film"
step decode "$film" "$work/decoded.png" --frames "$middle"
ffmpeg -nostdin -v error -i "$work/source.png" -i "$work/decoded.png" -frames:v 1 -y \
  -filter_complex '[0]format=rgb24[a];[1]format=rgb24[b];[a][b]hstack' "$picture"

pixels=$(awk -v bytes="$(number encode bytes)" -v bpp="$(number encode 'bits per pixel')" \
  -v frames="$(number encode frames)" 'BEGIN { print bytes * 8 / bpp / frames }')
speed() {
  awk -v fps="$(number "$1" fps)" -v pixels="$pixels" \
    'BEGIN { printf "%.0f frames a second, %.0f million pixels a second", fps, fps * pixels / 1e6 }'
}
cat <<EOF

source          $clip
size            $(number encode bytes) bytes, $(number encode frames) frames
bits per pixel  $(number encode 'bits per pixel')
encode          $(speed encode)
decode          $(speed film)
$(cat "$work/psnr")

$picture shows frame $middle: source, decoded.
$film plays in FFmpeg (ffplay $film), mpv, VLC, GStreamer and what is built on them.
For Windows hosts with the driver: tkmjpg encode --for driver. What comes in beside raw video:
Motion-JPEG and JPEG of any program, in AVI, MOV, MP4, Matroska or NUT. See tkmjpg encode --help.
EOF
