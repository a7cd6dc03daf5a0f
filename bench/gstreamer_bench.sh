#!/usr/bin/env bash
# The GStreamer elements beside jpegenc and jpegdec: the CPU time of the same pipeline with the one
# and with the other, in turns, at 1920x1080. Streams are of the same size, and both decoders get
# the same ones. Reading the frames costs both the same, and is shown too.
# usage: bench/gstreamer_bench.sh PLUGIN_FOLDER TKMJPG [FILM]; QUALITY, ROUNDS and FRAMES may be set
set -euo pipefail
plugins=$(realpath "$1")
tkmjpg=$(realpath "$2")
film=${3:+$(realpath "$3")}
quality=${QUALITY:-75}
rounds=${ROUNDS:-5}
frames=${FRAMES:-200}
size="width=1920, height=1080, framerate=25/1"
pictures=8
formats="YUY2 Y42B I420 BGRx"

folder=$(mktemp -d "${TMPDIR:-/tmp}/tkmjpg-bench.XXXXXX")
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export GST_REGISTRY=$folder/registry.bin GST_PLUGIN_PATH=$plugins

run() { gst-launch-1.0 -q "$@"; }

# FOLDER CAPS COUNT: a source that reads the files of a folder over and over.
source_of() {
  echo "multifilesrc location=$1/%d loop=true stop-index=$((pictures - 1)) num-buffers=$3 caps=\"$2\""
}

make_pictures() {
  if [ -z "$film" ]; then
    "$tkmjpg" encode -q --quality 100 "testcard:1920x1080@25:$pictures" card.avi
    film=card.avi
  fi
  ffmpeg -nostdin -v error -i "$film" -frames:v "$pictures" -vf scale=1920:1080 \
    -pix_fmt yuyv422 -f rawvideo YUY2.raw
  local format
  for format in $formats; do
    mkdir "$format"
    run filesrc location=YUY2.raw ! rawvideoparse format=yuy2 width=1920 height=1080 framerate=25/1 \
      ! videoconvert ! "video/x-raw, format=$format" ! multifilesink location="$format/%d"
  done
  rm YUY2.raw
}

# FOLDER ENCODER: codes the pictures, and prints how many bytes they take.
coded_size() {
  rm -rf "$1"
  mkdir "$1"
  eval "run $(source_of YUY2 "video/x-raw, format=YUY2, $size" $pictures) ! $2 ! multifilesink location=$1/%d"
  du -cb "$1"/* | tail -n 1 | cut -f1
}

# The quality of jpegenc whose streams are nearest in size, by bisection.
peer_quality() {
  local own low=1 high=100 middle
  own=$(coded_size own "tkmjpgenc quality=$quality")
  while [ "$low" -lt "$high" ]; do
    middle=$(((low + high) / 2))
    if [ "$(coded_size peer "jpegenc quality=$middle")" -lt "$own" ]; then
      low=$((middle + 1))
    else
      high=$middle
    fi
  done
  echo "$low"
}

# NAME LINE...: user and system time of a pipeline, to a line of NAME.
timed() {
  eval "LC_ALL=C command time -f '%U %S' -a -o times_$1 gst-launch-1.0 -q $2 ! fakesink"
}

# NAME: the median of the CPU times, in milliseconds a frame.
median() {
  awk -v frames="$frames" '{ print 1000 * ($1 + $2) / frames }' "times_$1" | sort -g |
    sed -n "$(((rounds + 1) / 2))p"
}

# WHAT SOURCE OWN PEER: both in turns, and the source alone.
compare() {
  rm -f times_*
  local round
  for ((round = 0; round < rounds; ++round)); do
    timed own "$2 ! $3"
    timed peer "$2 ! $4"
    timed source "$2"
  done
  awk -v what="$1" -v own="$(median own)" -v peer="$(median peer)" -v source="$(median source)" \
    'BEGIN { printf "%-16s tkmjpg %6.2f, peer %6.2f ms a frame: %.2f times; the source alone %.2f\n",
             what, own, peer, own / peer, source }'
}

make_pictures
peer=$(peer_quality)
echo "tkmjpgenc quality=$quality: $(coded_size own "tkmjpgenc quality=$quality") bytes in $pictures frames;" \
  "jpegenc quality=$peer: $(coded_size peer "jpegenc quality=$peer")"
for format in $formats; do
  compare "encode $format" "$(source_of "$format" "video/x-raw, format=$format, $size" "$frames")" \
    "tkmjpgenc quality=$quality" "jpegenc quality=$peer"
done
jpeg=$(source_of peer "image/jpeg, $size" "$frames")
compare "decode" "$jpeg" tkmjpgdec jpegdec
for format in YUY2 BGRx; do
  converted="videoconvert ! \"video/x-raw, format=$format\""
  compare "decode to $format" "$jpeg" "tkmjpgdec ! $converted" "jpegdec ! $converted"
done
