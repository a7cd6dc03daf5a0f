#!/usr/bin/env bash
# The command beside ffmpeg's Motion-JPEG, on the same film, the same two cores and in turns: Y4M to
# AVI and back. Prints the median wall time, what it is made of, and the largest memory of each.
# usage: bench/command_bench.sh TKMJPG [Y4M]; QUALITY, ROUNDS and CORES may be set
set -euo pipefail
tkmjpg=$(realpath "$1")
film=${2:+$(realpath "$2")}
quality=${QUALITY:-75}
rounds=${ROUNDS:-5}
cores=${CORES:-0,1}

folder=$(mktemp -d "${TMPDIR:-/tmp}/tkmjpg-bench.XXXXXX")
trap 'rm -rf "$folder"' EXIT
cd "$folder"

make_card() {
  "$tkmjpg" encode -q --quality 100 testcard:1920x1080@25:300 card.avi
  "$tkmjpg" decode -q card.avi card.y4m
  rm card.avi
  film=card.y4m
}

# NAME COMMAND...: seconds of wall, user and system time, and KiB, to a line of NAME.
timed() {
  local name=$1
  shift
  LC_ALL=C command time -f '%e %U %S %M' -a -o "$name" taskset -c "$cores" "$@" </dev/null
}

by_ffmpeg() { timed "$1" ffmpeg -nostdin -v error -y -threads 2 "${@:2}"; }
encode_peer() {
  by_ffmpeg "$2" -i "$film" -c:v mjpeg -q:v "$1" -pix_fmt yuvj422p -threads 2 peer.avi
}

# ffmpeg's scale whose file is nearest to this one's in size; files shrink as it grows.
tune_peer() {
  local size best=0 off least=0 q peer
  size=$(stat -c %s own.avi)
  for q in 2 3 4 5 6 7 8 10 12; do
    encode_peer "$q" /dev/null
    peer=$(stat -c %s peer.avi)
    off=$((peer > size ? peer - size : size - peer))
    if [ "$best" -eq 0 ] || [ "$off" -lt "$least" ]; then best=$q least=$off; fi
    [ "$peer" -ge "$size" ] || break
  done
  echo "$best"
}

# NAME: the median of each column.
medians() {
  for column in 1 2 3 4; do
    cut -d' ' -f$column "$1" | sort -n | sed -n "$(((rounds + 1) / 2))p"
  done | paste -sd' '
}

report() {
  local own peer
  own=$(medians "own_$1") peer=$(medians "peer_$1")
  awk -v what="$1" -v own="$own" -v peer="$peer" 'BEGIN {
    split(own, a, " "); split(peer, b, " ")
    line = "%s  %s %6.2f s wall, %6.2f user, %5.2f system, %4.0f MB\n"
    printf line, what, "tkmjpg", a[1], a[2], a[3], a[4] / 1024
    printf line, what, "ffmpeg", b[1], b[2], b[3], b[4] / 1024
    printf "%s  ratio  %6.2f of wall, %.2f of CPU time\n", what, b[1] / a[1], (b[2] + b[3]) / (a[2] + a[3]) }'
}

[ -n "$film" ] || make_card
"$tkmjpg" encode -q --quality "$quality" "$film" own.avi
scale=$(tune_peer)
for ((round = 0; round < rounds; ++round)); do
  timed own_encode "$tkmjpg" encode -q -f --threads 2 --quality "$quality" "$film" own.avi
  encode_peer "$scale" peer_encode
done
echo "quality $quality: $(stat -c %s own.avi) bytes;" \
  "ffmpeg -q:v $scale: $(stat -c %s peer.avi) bytes"
for ((round = 0; round < rounds; ++round)); do
  timed own_decode "$tkmjpg" decode -q -f --threads 2 own.avi back.y4m
  rm back.y4m
  by_ffmpeg peer_decode -i own.avi -strict -1 -f yuv4mpegpipe back.y4m
  rm back.y4m
done
report encode
report decode
