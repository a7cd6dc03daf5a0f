#!/usr/bin/env bash
# The version stands in CMakeLists.txt and in the news, whose newest entry it is, and nowhere else:
# everything else takes it from there.
# usage: version.sh SOURCE VERSION
set -euo pipefail
source=$1 version=$2
cd "$source"
copies=$(grep -rIlF --exclude-dir={build,out,.git,data,corpus} "$version" . |
  grep -vxE './(CMakeLists.txt|NEWS.md)' || true)
if [ -n "$copies" ]; then
  printf 'These have a copy of the version:\n%s\n' "$copies" >&2
  exit 1
fi
newest=$(sed -n 's/^## \([^ ,]*\).*/\1/p' NEWS.md | head -1)
[ "$newest" = "$version" ] || { echo "NEWS.md begins with '$newest', not $version" >&2; exit 1; }
