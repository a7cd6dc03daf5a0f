#!/usr/bin/env bash
# Measures speed. usage:
#   ./bench.sh [OPTIONS]           each kernel and whole frames, on every instruction set that this
#                                  machine has, one thread; "pixels" is pixels a second. OPTIONS are
#                                  Google Benchmark's, such as --benchmark_filter=encode/YUY2
#   ./bench.sh --peers [FILES...]  this library beside TurboJPEG, one thread, on made pictures or on
#                                  frames of FILES: Y4M, PNG, AVI, raw (--size WxH --layout NAME)
#   ./bench.sh --command [Y4M]     the command beside ffmpeg, there and back, on two cores; a test
#                                  card of 300 frames of 1920x1080 if no file is given
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

build() {
  (cd "$here" && cmake --preset release && cmake --build --preset release --target "$1") >/dev/null
}

case ${1:-} in
  --peers)
    shift
    "$here/scripts/packages.sh"
    "$here/scripts/packages.sh" <(echo libturbojpeg0-dev)
    build tkmjpg_peers
    exec "$here/build/release/bench/tkmjpg_peers" "$@"
    ;;
  --command)
    shift
    "$here/scripts/packages.sh"
    "$here/scripts/packages.sh" <(echo time)
    build tkmjpg_command
    exec "$here/bench/command_bench.sh" "$here/build/release/tools/tkmjpg/tkmjpg" "$@"
    ;;
  *)
    "$here/scripts/packages.sh"
    build tkmjpg_bench
    exec "$here/build/release/bench/tkmjpg_bench" --benchmark_min_time=0.2 "$@"
    ;;
esac
