#!/usr/bin/env bash
# Builds and tests. usage: ./test.sh [--release] [--asan] [--lint] [--windows] [--processors]
#   --release     the tests (what runs without an option)
#   --asan        the tests under the address and undefined-behaviour sanitizers
#   --lint        formatting, clang-tidy, ASCII, line lengths
#   --windows     the Windows library under wine
#   --processors  the codec on older x86-64 processors and on aarch64, emulated
set -euo pipefail
cd "$(dirname "$0")"

usage() { sed -n '2,7s/^# //p' "$0"; }

build_and_test() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1"
  ctest --test-dir "build/$1" --output-on-failure -j "$(nproc)"
}

[ $# -gt 0 ] || set -- --release
for option in "$@"; do
  case "$option" in
    --release | --asan | --lint | --windows | --processors) ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
  esac
done
scripts/packages.sh
for option in "$@"; do
  case "$option" in
    --release | --asan) build_and_test "${option#--}" ;;
    --lint) scripts/lint.sh ;;
    --windows) packaging/windows/test.sh ;;
    --processors) tests/other_processors.sh ;;
  esac
done
