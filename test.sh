#!/usr/bin/env bash
# Builds and tests. usage: ./test.sh [OPTION...]
#   --release     the tests (what runs without an option)
#   --asan        the tests under the address and undefined-behaviour sanitizers
#   --tsan        the command's threads under the thread sanitizer
#   --lint        formatting, clang-tidy, ASCII, line lengths
#   --coverage    how many lines of src/ the tests run
#   --windows     the Windows library under wine
#   --processors  the codec on older x86-64 processors, on 32-bit x86 and on ARM
set -euo pipefail
cd "$(dirname "$0")"

usage() { sed -n '2,/^[^#]/s/^# //p' "$0"; }

build_and_test() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1"
  ctest --test-dir "build/$1" --output-on-failure -j "$(nproc)"
}

test_threads() {
  cmake --preset tsan >/dev/null
  cmake --build --preset tsan
  build/tsan/tests/tkmjpg_pipeline_tests
}

[ $# -gt 0 ] || set -- --release
for option in "$@"; do
  case "$option" in
    --release | --asan | --tsan | --lint | --coverage | --windows | --processors) ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
  esac
done
scripts/packages.sh
for option in "$@"; do
  case "$option" in
    --release | --asan) build_and_test "${option#--}" ;;
    --tsan) test_threads ;;
    --lint) scripts/lint.sh ;;
    --coverage) scripts/coverage.sh ;;
    --windows) packaging/windows/test.sh ;;
    --processors) tests/other_processors.sh ;;
  esac
done
