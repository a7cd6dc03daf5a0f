#!/usr/bin/env bash
# Builds the packages of ARCHITECTURE from FOLDER/tkmjpg into FOLDER, in a Debian with the libraries
# of both: it is made in build/root-ARCHITECTURE and kept for the next time. Asks for root.
# FOLDER/tkmjpg/manual has manual pages and completion.
# usage: cross_build.sh ARCHITECTURE FOLDER
set -euo pipefail
architecture=$1 folder=$2
here=$(cd "$(dirname "$0")/../.." && pwd)
root=$here/build/root-$architecture
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)

if [ ! -e "$root/complete" ]; then
  "${as_root[@]}" rm -rf "$root"
  "$here/packaging/debian/new_root.sh" "$root" \
    --architectures="$(dpkg --print-architecture),$architecture" \
    --include="crossbuild-essential-$architecture"
  "${as_root[@]}" touch "$root/complete"
fi
inside() { "${as_root[@]}" chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"; }

"${as_root[@]}" rm -rf "$root/build"
"${as_root[@]}" mkdir "$root/build"
"${as_root[@]}" cp -r "$folder/tkmjpg" "$root/build"
{
  inside sh -e -c '
    cd /build/tkmjpg
    export DEBIAN_FRONTEND=noninteractive
    apt-get -y -q --no-install-recommends --host-architecture "$1" --arch-only build-dep ./
    CONFIG_SITE=/etc/dpkg-cross/cross-config.$1 TKMJPG_MANUAL=/build/tkmjpg/manual \
      dpkg-buildpackage -us -uc -B -a"$1"' build "$architecture"
} >"$folder/log" 2>&1
find "$root/build" -maxdepth 1 -type f -exec cp {} "$folder" \;
