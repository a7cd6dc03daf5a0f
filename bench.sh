#!/usr/bin/env bash
# Measures speed. usage:
#   ./bench.sh [OPTIONS]           each kernel and whole frames, on every instruction set that this
#                                  machine has, one thread; "pixels" is pixels a second. OPTIONS are
#                                  Google Benchmark's, such as --benchmark_filter=encode/YUY2
#   ./bench.sh --peers [FILES...]  this library beside TurboJPEG, one thread, on made pictures or on
#                                  frames of FILES: Y4M, PNG, AVI, raw (--size WxH --layout NAME).
#                                  --rung plain|sse4|avx2|avx512|neon: that instruction set, and
#                                  TurboJPEG held to the same level; else the one in use.
#                                  --rounds N, --frames N; --json FILE writes the results as well
#   ./bench.sh --page [FILES...]   the same, 7 rounds, for each instruction set of this machine: one
#                                  page, out/bench.html, and tables in markdown; takes minutes
#   ./bench.sh --command [Y4M]     the command beside ffmpeg, there and back, on two cores; a test
#                                  card of 300 frames of 1920x1080 if no file is given
#   ./bench.sh --gstreamer [FILM]  the GStreamer elements beside jpegenc and jpegdec, CPU time of the
#                                  same pipelines; the test card if no file is given
#   ./bench.sh --python            what a call from Python costs, and how two threads share the work
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

build() {
  (cd "$here" && cmake --preset release && cmake --build --preset release --target "$1") >/dev/null
}

build_peers() {
  "$here/scripts/packages.sh"
  "$here/scripts/packages.sh" <(echo libturbojpeg0-dev)
  build tkmjpg_peers
}

case ${1:-} in
  --peers)
    shift
    build_peers
    exec "$here/build/release/bench/tkmjpg_peers" "$@"
    ;;
  --page)
    shift
    "$here/scripts/packages.sh" <(echo python3)
    build_peers
    peers=$here/build/release/bench/tkmjpg_peers
    results=()
    for rung in $("$peers" --rungs); do
      results+=("$here/build/bench-$rung.json")
      "$peers" --rounds 7 "$@" --rung "$rung" --json "${results[-1]}" >&2
    done
    "$here/bench/page.py" "$here/out/bench.html" "${results[@]}"
    echo "out/bench.html" >&2
    ;;
  --command)
    shift
    "$here/scripts/packages.sh"
    "$here/scripts/packages.sh" <(echo time)
    build tkmjpg_command
    exec "$here/bench/command_bench.sh" "$here/build/release/tools/tkmjpg/tkmjpg" "$@"
    ;;
  --python)
    "$here/scripts/packages.sh"
    build python_wheel
    site=$(mktemp -d)
    trap 'rm -rf "$site"' EXIT
    /usr/bin/python3 -m zipfile -e "$here"/build/release/wheel/*.whl "$site"
    PYTHONPATH=$site /usr/bin/python3 "$here/bench/python_bench.py"
    ;;
  --gstreamer)
    shift
    "$here/scripts/packages.sh"
    "$here/scripts/packages.sh" <(echo time)
    build gsttkmjpg
    build tkmjpg_command
    exec "$here/bench/gstreamer_bench.sh" "$here/build/release/plugins/gstreamer" \
      "$here/build/release/tools/tkmjpg/tkmjpg" "$@"
    ;;
  *)
    "$here/scripts/packages.sh"
    build tkmjpg_bench
    exec "$here/build/release/bench/tkmjpg_bench" --benchmark_min_time=0.2 "$@"
    ;;
esac
