#!/usr/bin/env bash
# Uses all that the packages bring, in a system where they are installed and nothing else of the
# project is.
set -euo pipefail
cd "$(mktemp -d)"

echo "the command"
tkmjpg --version
tkmjpg encode testcard:320x240@25:10 film.avi --quality 90 >/dev/null
tkmjpg decode film.avi back.y4m >/dev/null
tkmjpg compare back.y4m film.avi >/dev/null
[ "$(tkmjpg md5 film.avi)" = "$(tkmjpg md5 film.avi --cpu plain)" ]
tkmjpg doctor >/dev/null
version=$(tkmjpg --version)
for library in libpng libjpeg-turbo libavformat; do grep -q "$library [0-9]*\.[0-9]" <<<"$version"; done
# A phone's progressive 4:2:0, which libjpeg-turbo decodes, and a film in another container.
tkmjpg encode /work/progressive.jpg photo.avi >/dev/null
[ "$(tkmjpg md5 /work/film.mov)" = "$(tkmjpg md5 /work/film.avi)" ]
for page in /usr/share/man/man1/tkmjpg.1.gz /usr/share/man/man3/tkmjpg.3.gz; do
  gzip -dc "$page" | grep -q '^\.TH'
done
bash -n /usr/share/bash-completion/completions/tkmjpg

echo "the library, shared and static"
read -ra shared <<<"$(pkg-config --cflags --libs tkmjpg)"
read -ra static <<<"$(pkg-config --static --cflags --libs tkmjpg)"
gcc -o shared /work/program.c "${shared[@]}"
./shared
grep -q 'libtkmjpg.so.3' <<<"$(ldd ./shared)"
if gcc -static -o static /work/program.c "${static[@]}" 2>static.log; then
  ./static
else
  # The C++ run-time for static linking comes with g++.
  grep -q 'lstdc++' static.log
fi

echo "the GStreamer elements"
gst-inspect-1.0 -b | grep -q 'Total count: 0'
gst-launch-1.0 -q videotestsrc num-buffers=5 ! video/x-raw,format=YUY2,width=320,height=240 ! \
  tkmjpgenc ! tkmjpgdec ! video/x-raw,format=YUY2 ! filesink location=frames.yuy2
[ "$(stat -c %s frames.yuy2)" -eq $((5 * 320 * 240 * 2)) ]

echo "the Python package"
python3 - <<'PROGRAM'
import numpy, tkmjpg
film = tkmjpg.AviReader("film.avi", layout="YUY2")
assert (len(film), film[9].shape) == (10, (240, 320, 2)), film[9].shape
frame = numpy.full((240, 320, 3), 100, numpy.uint8)
assert abs(tkmjpg.decode(tkmjpg.encode(frame)).astype(int) - 100).max() <= 2
PROGRAM
