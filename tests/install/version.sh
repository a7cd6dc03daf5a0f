#!/usr/bin/env bash
# The version stands in the public header, as three numbers, and in the news and the changelog of the
# Debian packages, whose newest entries it has, and nowhere else: everything else takes it from there.
# usage: version.sh SOURCE VERSION
set -euo pipefail
source=$1 version=$2
cd "$source"
copies=$(grep -rIlF --exclude-dir={build,out,.git,data,corpus} --exclude=index.html "$version" . |
  grep -vxE './(NEWS.md|debian/changelog)' || true)
if [ -n "$copies" ]; then
  printf 'These have a copy of the version:\n%s\n' "$copies" >&2
  exit 1
fi
[ "$(scripts/version.sh)" = "$version" ] || { echo "the header has another version" >&2; exit 1; }
newest=$(sed -n 's/^## \([^ ,]*\).*/\1/p' NEWS.md | head -1)
[ "$newest" = "$version" ] || { echo "NEWS.md begins with '$newest', not $version" >&2; exit 1; }
changelog=$(sed -n '1s/.*(\(.*\)-[^-]*).*/\1/p' debian/changelog)
[ "$changelog" = "$version" ] || { echo "debian/changelog begins with '$changelog'" >&2; exit 1; }
