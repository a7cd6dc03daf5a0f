#!/usr/bin/env bash
# Builds and tests. usage: ./test.sh [OPTION...]
#   --release     the tests (what runs without an option)
#   --asan        the tests under the address and undefined-behaviour sanitizers
#   --lint        formatting, clang-tidy, ASCII, line lengths
#   --coverage    how many lines of src/ the tests run
#   --windows     the Windows library under wine
#   --processors  the codec on older x86-64 processors and on aarch64, emulated
set -euo pipefail
cd "$(dirname "$0")"

usage() { sed -n '2,8s/^# //p' "$0"; }

build_and_test() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1"
  ctest --test-dir "build/$1" --output-on-failure -j "$(nproc)"
}

test_windows() {
  if [ ! -e packaging/windows/test.sh ]; then
    echo "test.sh: there is no Windows build yet" >&2
    exit 1
  fi
  packaging/windows/test.sh
}

[ $# -gt 0 ] || set -- --release
for option in "$@"; do
  case "$option" in
    --release | --asan | --lint | --coverage | --windows | --processors) ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
  esac
done
scripts/packages.sh
for option in "$@"; do
  case "$option" in
    --release | --asan) build_and_test "${option#--}" ;;
    --lint) scripts/lint.sh ;;
    --coverage) scripts/coverage.sh ;;
    --windows) test_windows ;;
    --processors) tests/other_processors.sh ;;
  esac
done
