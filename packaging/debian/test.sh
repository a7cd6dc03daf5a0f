#!/usr/bin/env bash
# Installs the packages of FOLDER in a fresh Debian, uses every front door, and purges them: nothing
# is left. Those for other processors are installed where they were built, and run emulated.
# --full also builds all again elsewhere, and compares. Asks for root.
# usage: test.sh [--full] FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
full=
[ "${1:-}" != --full ] || { full=1; shift; }
packages=$(realpath "$1")
native=$(dpkg --print-architecture)
version=$(sed -n '1s/.*(\(.*\)).*/\1/p' "$here/debian/changelog")
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)

die() {
  echo "packages: $*" >&2
  exit 1
}

# usage: names ARCHITECTURE: the package files for it, as paths within a root.
names() {
  (cd "$packages" && ls {libtkmjpg3,libtkmjpg-dev,tkmjpg,gstreamer1.0-tkmjpg}_"$version"_"$1".deb) |
    sed 's|^|/packages/|'
}

# usage: inside ROOT COMMAND...
inside() {
  "${as_root[@]}" chroot "$1" /usr/bin/env -i HOME=/root LANG=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive PATH=/usr/sbin:/usr/bin:/sbin:/bin "${@:2}"
}

# usage: purge_from ROOT PACKAGE...: nothing with the name is left.
purge_from() {
  inside "$1" apt-get -y -qq -o Dpkg::Use-Pty=0 purge "${@:2}" >/dev/null
  local left
  left=$(inside "$1" find / -xdev -iname '*tkmjpg*' ! -path '/packages/*' ! -path '/work/*' \
    ! -path '/build/*')
  [ -z "$left" ] || die "these are left in $1: $left"
  if inside "$1" dpkg -l '*tkmjpg*' 2>/dev/null | grep -q '^[a-z][a-z] '; then
    die "dpkg still knows them"
  fi
}

# usage: make_films FOLDER: a film of ffmpeg in AVI and MOV, a progressive 4:2:0 JPEG of cjpeg.
make_films() {
  rm -rf "$1"
  mkdir -p "$1"
  local make=(ffmpeg -nostdin -v error)
  "${make[@]}" -f lavfi -i testsrc=duration=1:size=320x240:rate=5 -pix_fmt yuvj422p -c:v mjpeg \
    "$1/film.avi"
  "${make[@]}" -i "$1/film.avi" -c copy "$1/film.mov"
  "${make[@]}" -i "$1/film.avi" -frames:v 1 -f image2pipe -c:v ppm - |
    cjpeg -progressive -sample 2x2 >"$1/progressive.jpg"
}

test_native() {
  local root=$here/build/root-test
  "${as_root[@]}" rm -rf "$root"
  "$here/packaging/debian/new_root.sh" "$root"
  "${as_root[@]}" mkdir "$root/packages" "$root/work"
  "${as_root[@]}" cp "$packages"/*.deb "$root/packages"
  "${as_root[@]}" cp "$here"/{packaging/debian/front_doors.sh,tests/install/program.c} "$root/work"
  make_films "$here/build/package/films"
  "${as_root[@]}" cp "$here"/build/package/films/* "$root/work"
  # What the command recommends is wanted for films of other containers.
  local recommended
  recommended=$(dpkg-deb -f "$packages/tkmjpg_${version}_$native.deb" Recommends)
  # shellcheck disable=SC2046
  inside "$root" apt-get -y -qq --no-install-recommends install $(names "$native") \
    "/packages/python3-tkmjpg_${version}_all.deb" "$recommended" gcc libc6-dev pkg-config \
    gstreamer1.0-tools gstreamer1.0-plugins-base >"$here/build/package/install.log" 2>&1 ||
    { tail "$here/build/package/install.log" >&2; die "they cannot be installed"; }
  inside "$root" bash /work/front_doors.sh
  purge_from "$root" libtkmjpg3 libtkmjpg-dev tkmjpg gstreamer1.0-tkmjpg python3-tkmjpg
  "${as_root[@]}" rm -rf "$root"
  echo "$native: installed, used and purged"
}

# usage: test_emulated ARCHITECTURE EMULATOR: the command makes the bytes that it makes here.
test_emulated() {
  local root=$here/build/root-$1 work
  work=$(mktemp -d)
  "${as_root[@]}" rm -rf "$root/packages" "$root/build"
  "${as_root[@]}" mkdir "$root/packages"
  "${as_root[@]}" cp "$packages"/*_"$1".deb "$root/packages"
  # shellcheck disable=SC2046
  inside "$root" dpkg -i $(names "$1") >"$here/build/package/install.log" 2>&1 ||
    { tail "$here/build/package/install.log" >&2; die "they cannot be installed for $1"; }
  local command
  for command in "$2 -L $root $root/usr/bin/tkmjpg" \
    "$here/build/package/$native/tkmjpg/debian/tkmjpg/usr/bin/tkmjpg"; do
    $command encode testcard:64x48@25:2 "$work/film.avi" --force >/dev/null
    md5sum <"$work/film.avi"
  done | sort -u >"$work/sums"
  [ "$(wc -l <"$work/sums")" -eq 1 ] || die "the command for $1 makes other bytes"
  purge_from "$root" libtkmjpg3:"$1" libtkmjpg-dev:"$1" tkmjpg:"$1" gstreamer1.0-tkmjpg:"$1"
  rm -rf "$work"
  echo "$1: installed, used and purged"
}

# In a folder with another name, later, with another time zone and language.
test_reproducible() {
  local work=$here/build/package/again
  rm -rf "$work"
  mkdir -p "$work/another/folder"
  tar -c -C "$here" --exclude=./build --exclude=./out --exclude=./.git . |
    tar -x -C "$work/another/folder"
  (cd "$work/another/folder" && TZ=Asia/Tokyo LC_ALL=C.UTF-8 ./package.sh --output "$work" \
    $(cd "$packages" && ls tkmjpg_"$version"_*.deb | sed 's/.*_\(.*\)\.deb/\1/'))
  local package
  for package in "$packages"/*_"$version"_*.deb; do
    cmp "$package" "$work/$(basename "$package")" ||
      die "built again, $(basename "$package") differs"
  done
  rm -rf "$work"
  echo "built again elsewhere: the same bytes"
}

test_native
if [ -e "$packages/tkmjpg_${version}_arm64.deb" ] && [ "$native" != arm64 ]; then
  "$here/scripts/packages.sh" <(echo qemu-user)
  test_emulated arm64 qemu-aarch64
fi
[ -z "$full" ] || test_reproducible
