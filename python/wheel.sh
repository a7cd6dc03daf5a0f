#!/usr/bin/env bash
# Makes a wheel with LIBRARY inside in FOLDER, with what Debian has for it and nothing from elsewhere.
# usage: wheel.sh LIBRARY FOLDER
set -euo pipefail
library=$(realpath "$1")
source=$(realpath "$(dirname "$0")/..")
folder=$(realpath -m "$2")
rm -rf "$folder"
mkdir -p "$folder/include"
cp -r "$source/python" "$folder"
cp "$source/include/tkmjpg.h" "$folder/include"

# Which C library is the oldest that has all that the library asks for.
glibc=$(objdump -T "$library" | grep -o 'GLIBC_[0-9.]*' | sort -uV | tail -1)
platform=manylinux_${glibc#GLIBC_}
TKMJPG_LIBRARY=$library TKMJPG_PLATFORM=${platform/./_}_$(uname -m)
export TKMJPG_LIBRARY TKMJPG_PLATFORM
cd "$folder/python"
/usr/bin/python3 setup.py -q bdist_wheel --dist-dir "$folder"
rm -r "$folder/python" "$folder/include"
ls "$folder"/*.whl
