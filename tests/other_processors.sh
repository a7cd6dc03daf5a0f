#!/usr/bin/env bash
# The tests on processors that this machine is not, under qemu's user emulation: the release build
# on one without AVX, on one without AVX-512, and a build for aarch64. The emulator stops a program
# at an instruction that its processor lacks; that it does is checked first. Builds into
# build/aarch64.
# usage: tests/other_processors.sh
set -euo pipefail
cd "$(dirname "$0")/.."
list=$(mktemp)
trap 'rm -rf "$list" "${scratch:-}"' EXIT
printf '%s\n' qemu-user g++-aarch64-linux-gnu googletest >"$list"
scripts/packages.sh "$list"
scratch=$(mktemp -d)

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

# usage: test_x86 PROCESSOR RUNG: the tests of every kernel, and that this rung is the highest one.
test_x86() {
  local tests=build/release/tests/tkmjpg_tests
  local used
  used=$(x86 "$1" build/release/tools/tkmjpg/tkmjpg doctor | sed -n 's/^instructions *//p')
  if [ "$used" != "$2" ]; then
    echo "on $1 the rung is '$used', not $2" >&2
    exit 1
  fi
  echo "$1: $2"
  x86 "$1" "$tests" --gtest_brief=1 \
    --gtest_filter='*Vectors*:*Kernels*:Rungs*:*Dct*:MemoryBounds*'
}

cross_build() {
  local cross=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_SYSTEM_NAME=Linux
    -DCMAKE_SYSTEM_PROCESSOR=aarch64 -DCMAKE_C_COMPILER=aarch64-linux-gnu-gcc
    -DCMAKE_CXX_COMPILER=aarch64-linux-gnu-g++
    "-DCMAKE_CROSSCOMPILING_EMULATOR=qemu-aarch64;-L;/usr/aarch64-linux-gnu")
  local gtest=$PWD/build/aarch64/googletest
  cmake -S /usr/src/googletest -B "$gtest/build" "${cross[@]}" -DBUILD_GMOCK=OFF \
    -DCMAKE_INSTALL_PREFIX="$gtest" -DCMAKE_INSTALL_LIBDIR=lib >/dev/null
  cmake --build "$gtest/build" --target install >/dev/null
  cmake -S . -B build/aarch64 "${cross[@]}" -DTKMJPG_WERROR=ON -DTKMJPG_TOOLS=OFF \
    -DTKMJPG_BENCH=OFF -DGTest_DIR="$gtest/lib/cmake/GTest" >/dev/null
  cmake --build build/aarch64 --target tkmjpg_tests
}

if [ "$(uname -m)" = x86_64 ]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target tkmjpg_tests tkmjpg_command
  stops_at Nehalem 'vpaddd %ymm0, %ymm0, %ymm0'
  stops_at Haswell 'vpaddd %zmm0, %zmm0, %zmm0'
  test_x86 Nehalem plain
  test_x86 Haswell,-movbe plain
  test_x86 Haswell avx2
fi
cross_build
echo "aarch64: plain"
qemu-aarch64 -L /usr/aarch64-linux-gnu build/aarch64/tests/tkmjpg_tests --gtest_brief=1 \
  --gtest_filter=-*LeaveNoMemoryBehind # those count on the heap of the host
