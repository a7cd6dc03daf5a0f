#!/usr/bin/env bash
# Makes out/tkmjpg-VERSION-windows.zip from both builds, which have to be there:
#   cmake --preset windows64 && cmake --build --preset windows64      and the same with windows32
set -euo pipefail
cd "$(dirname "$0")/../.."
version=$(scripts/version.sh)
name=tkmjpg-$version-windows
staging=build/package/$name
rm -rf "$staging"
mkdir -p "$staging/x64" "$staging/x86" out

# Both widths are called tkmjpg32.dll once installed; an INF tells its source files apart by name.
cp build/windows64/src/tkmjpg32.dll "$staging/x64/tkmjpg32.dll"
cp build/windows32/src/tkmjpg32.dll "$staging/x86/tkmjpg32-x86.dll"
cp build/windows64/packaging/windows/tkmjpg-register.exe "$staging/x64/"
cp build/windows32/packaging/windows/tkmjpg-register.exe "$staging/x86/tkmjpg-register-x86.exe"
cp build/windows64/packaging/windows/doctor.exe "$staging/x64/"
cp build/windows32/packaging/windows/doctor.exe "$staging/x86/"
sed "s/@VERSION@/$version/; s/$/\r/" packaging/windows/tkmjpg.inf >"$staging/tkmjpg.inf"
sed "s/@VERSION@/$version/; s/$/\r/" packaging/windows/README.txt >"$staging/README.txt"

# The same bytes from the same builds: sorted, and with one time for all.
find "$staging" -exec touch -d '1980-01-01 12:00 UTC' {} +
rm -f "out/$name.zip"
(cd build/package && find "$name" -type f | sort | TZ=UTC zip -X -q "../../out/$name.zip" -@)
echo "out/$name.zip"
