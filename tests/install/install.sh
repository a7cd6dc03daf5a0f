#!/usr/bin/env bash
# Installs BUILD, moves the tree elsewhere, and builds program.c against it in every way offered.
# usage: install.sh BUILD C-COMPILER
set -euo pipefail
build=$1 cc=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first"
prefix=$work/moved
mv "$work/first" "$prefix"
if grep -rlI "$work/first" "$prefix"; then
  echo "the files above hold the path they were installed to" >&2
  exit 1
fi

library_dir=$(dirname "$(find "$prefix" -name libtkmjpg.a)")
export PKG_CONFIG_PATH=$library_dir/pkgconfig
read -ra shared <<<"$(pkg-config --cflags --libs tkmjpg)"
read -ra static <<<"$(pkg-config --static --cflags --libs tkmjpg)"
"$cc" -std=c99 -o "$work/shared" "$here/program.c" "${shared[@]}"
"$cc" -std=c99 -static -o "$work/static" "$here/program.c" "${static[@]}"
LD_LIBRARY_PATH=$library_dir "$work/shared"
"$work/static"
echo "pkg-config: shared and static programs run"

cmake -S "$here" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DTKMJPG_WANTED="$(pkg-config --modversion tkmjpg)" \
  -DCMAKE_C_COMPILER="$cc"
cmake --build "$work/cmake"
"$work/cmake/program_tkmjpg"
"$work/cmake/program_tkmjpg_static"
grep -q "$library_dir/libtkmjpg.so" <<<"$(ldd "$work/cmake/program_tkmjpg")"
echo "find_package: shared and static programs run"

if [ -e "$prefix/bin/tkmjpg" ]; then
  "$prefix/bin/tkmjpg" --version
fi
