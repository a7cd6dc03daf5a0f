#!/usr/bin/env bash
# Each public header compiles alone, and after other headers of Windows names, as C and as C++,
# without a warning.
# usage: header.sh INCLUDE-FOLDER C-COMPILER C++-COMPILER
set -euo pipefail
include=$1 cc=$2 cxx=$3
other=$(dirname "$0")/other_windows_names.h
check() {
  "$@" -I "$include" -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Werror \
    -include "$header" /dev/null
}
for header in "$include"/*.h "$other"; do
  for standard in c99 c11 c17; do check "$cc" -x c -std=$standard; done
  for standard in c++98 c++11 c++20; do check "$cxx" -x c++ -std=$standard; done
done
