#!/usr/bin/env bash
# The tests on processors that this machine is not: the release build on x86-64 without AVX and
# without AVX-512, builds for 32-bit x86 and for 64-bit ARM. What does not run here by itself runs
# under qemu's user emulation, which stops a program at an instruction that its processor lacks; that
# it does is checked first.
# usage: tests/other_processors.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
printf '%s\n' qemu-user g++-aarch64-linux-gnu g++-i686-linux-gnu googletest >"$scratch/packages"
scripts/packages.sh "$scratch/packages"
export TKMJPG_EMULATED=1 scratch
export codec='*Vectors*:*Kernels*:Rungs*:*Dct*:MemoryBounds*'

# usage: x86 PROCESSOR PROGRAM [ARGUMENT...]
x86() { qemu-x86_64 -cpu "$1" "${@:2}" 2>>"$scratch/messages"; }

# usage: stops_at PROCESSOR INSTRUCTION: the emulated processor has it not.
stops_at() {
  echo "int main(void) { __asm__ volatile(\"$2\"); return 0; }" >"$scratch/try.c"
  gcc -o "$scratch/try" "$scratch/try.c"
  if (x86 "$1" "$scratch/try") 2>/dev/null; then
    echo "qemu-x86_64 -cpu $1 runs '$2': nothing is shown by it" >&2
    exit 1
  fi
}

# usage: expect_rung RUNG COMMAND...: that this rung is the highest one.
expect_rung() {
  local used
  used=$("${@:2}" doctor | sed -n 's/^instructions *//p')
  if [ "$used" != "$1" ]; then
    echo "the rung is '$used', not $1: ${*:2}" >&2
    exit 1
  fi
}

# usage: test_x86 PROCESSOR RUNG: the tests of every kernel, and that this rung is the highest one.
test_x86() {
  echo "$1: $2"
  expect_rung "$2" x86 "$1" build/release/tools/tkmjpg/tkmjpg || return
  x86 "$1" build/release/tests/tkmjpg_tests --gtest_brief=1 --gtest_filter="$codec"
}

# usage: at_once FUNCTION 'ARGUMENT...'...: the function with each of these, as many at once as there
# are processors; what it prints is shown when it ends.
at_once() {
  export -f "$1" x86 arm64 expect_rung
  printf '%s\n' "${@:2}" | xargs -P "$(nproc)" -L 1 bash -c 'output=$("$0" "$@" 2>&1)
    code=$?; echo "$output"; exit $code' "$1"
}

# usage: build PRESET TARGET...
build() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" --target "${@:2}"
}

test_older_x86() {
  build release tkmjpg_tests tkmjpg_command
  stops_at Nehalem 'vpaddd %ymm0, %ymm0, %ymm0'
  stops_at Haswell 'vpaddd %zmm0, %zmm0, %zmm0'
  expect_rung sse4 x86 Haswell,-movbe build/release/tools/tkmjpg/tkmjpg
  at_once test_x86 'Haswell avx2' 'Nehalem sse4' 'core2duo plain'
}

# A kernel without 32-bit programs leaves them to the emulator.
test_32_bits() {
  build linux32 tkmjpg_tests
  local tests=build/linux32/tests/tkmjpg_tests runner=()
  "$tests" --gtest_list_tests >/dev/null 2>&1 || runner=(qemu-i386 -cpu max)
  echo "32-bit x86: ${runner[*]:-by itself}"
  if [ ${#runner[@]} -eq 0 ]; then
    env -u TKMJPG_EMULATED "$tests" --gtest_brief=1
  else
    "${runner[@]}" "$tests" --gtest_brief=1 --gtest_filter="$codec"
  fi
}

arm64() { qemu-aarch64 -L /usr/aarch64-linux-gnu "$@"; }

# The command, with the library inside, and the loadable library.
use_on_arm64() {
  local command=build/arm64/tools/tkmjpg/tkmjpg
  expect_rung neon arm64 "$command"
  arm64 "$command" encode testcard:320x240@25:3 "$scratch/arm64.avi"
  build/release/tools/tkmjpg/tkmjpg encode testcard:320x240@25:3 "$scratch/here.avi"
  cmp "$scratch/arm64.avi" "$scratch/here.avi"
  arm64 build/arm64/tests/load_library build/arm64/src/libtkmjpg.so
}

test_arm64_processor() {
  echo "arm64, $1"
  arm64 -cpu "$1" build/arm64/tests/tkmjpg_tests --gtest_brief=1 --gtest_filter="$codec"
}

test_arm64() {
  build release tkmjpg_command
  scripts/foreign_packages.sh arm64 build/foreign/aarch64-linux-gnu \
    libjpeg62-turbo-dev libpng-dev zlib1g-dev
  build arm64 tkmjpg_tests tkmjpg tkmjpg_command load_library
  at_once test_arm64_processor cortex-a53 cortex-a72 cortex-a76 neoverse-n1 max
  use_on_arm64
}

if [ "$(uname -m)" = x86_64 ]; then test_older_x86; fi
test_32_bits
test_arm64
