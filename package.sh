#!/usr/bin/env bash
# Makes the Debian packages in out/: libtkmjpg3, libtkmjpg-dev, tkmjpg, gstreamer1.0-tkmjpg for each
# ARCHITECTURE, and python3-tkmjpg. usage: ./package.sh [OPTION...] [ARCHITECTURE...]
#   amd64, arm64    this machine's is built here, the other one in a Debian of its own, which asks
#                   for root; both without an argument
#   --output FOLDER in place of out/
#   --test          installs them in a fresh Debian, uses all that they bring, purges them; as root
#   --test --full   also builds them again in another folder, which has to give the same bytes
set -euo pipefail
cd "$(dirname "$0")"
here=$PWD native=$(dpkg --print-architecture)
output=out architectures=() test=() full=

while [ $# -gt 0 ]; do
  case $1 in
    --output) output=$2 && shift ;;
    --test) test=(packaging/debian/test.sh) ;;
    --full) full=--full ;;
    amd64 | arm64) architectures+=("$1") ;;
    -h | --help) sed -n '2,/^[^#]/s/^# \?//p' "$0" | sed '$d'; exit 0 ;;
    *) sed -n '2,/^[^#]/s/^# \?//p' "$0" | sed '$d' >&2; exit 2 ;;
  esac
  shift
done
[ ${#architectures[@]} -gt 0 ] || architectures=(amd64 arm64)
output=$(realpath -m "$output")
scripts/packages.sh
scripts/packages.sh packaging/debian/packages.txt

# usage: copy_sources FOLDER: what a build reads, without what others have built.
copy_sources() {
  rm -rf "$1"
  mkdir -p "$1"
  tar -c --exclude=./build --exclude=./out --exclude=./.git --exclude=./fuzz/corpus \
    --exclude=./tests/data . | tar -x -C "$1"
}

# usage: keep FOLDER: lintian has nothing against the packages there; they go into the output.
keep() {
  lintian --fail-on error --suppress-tags bad-distribution-in-changes-file "$1"/*.changes
  mkdir -p "$output"
  find "$1" -maxdepth 1 -name '*.deb' ! -name '*-dbgsym_*' -exec cp {} "$output" \;
}

build_here() {
  local folder=$here/build/package/$native
  copy_sources "$folder/tkmjpg"
  (cd "$folder/tkmjpg" && dpkg-buildpackage -us -uc -b >"$folder/log" 2>&1) ||
    { tail -40 "$folder/log" >&2; return 1; }
  keep "$folder"
}

# Manual pages and completion are the same for all; only this machine's build can make them.
manual() {
  local share=$here/build/package/$native/tkmjpg/debian/tmp/usr/share
  [ -d "$share" ] || build_here >&2
  echo "$share"
}

build_elsewhere() {
  local folder=$here/build/package/$1 share
  share=$(manual)
  copy_sources "$folder/tkmjpg"
  cp -r "$share" "$folder/tkmjpg/manual"
  packaging/debian/cross_build.sh "$1" "$folder" || { tail -40 "$folder/log" >&2; return 1; }
  keep "$folder"
}

for architecture in "${architectures[@]}"; do
  if [ "$architecture" = "$native" ]; then build_here; else build_elsewhere "$architecture"; fi
done
ls "$output"/*.deb
[ ${#test[@]} -eq 0 ] || "${test[@]}" $full "$output"
