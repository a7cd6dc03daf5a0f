#!/usr/bin/env bash
# Unpacks a fresh Debian of this one's release in FOLDER, from the mirrors that this one uses.
# usage: new_root.sh FOLDER [OPTION OF MMDEBSTRAP...]
set -euo pipefail
folder=$1
shift
sources=/etc/apt/sources.list.d/debian.sources
[ -e "$sources" ] || sources=/etc/apt/sources.list
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
# What this machine's apt needs to reach the mirrors, the new one needs as well.
options=()
while read -r line; do options+=("--aptopt=$line"); done < <(
  apt-config dump | grep -E '^Acquire::(http|https|Check|Retries)')
"${as_root[@]}" mkdir -p "$(dirname "$folder")"
# The lists of packages stay, for what is installed later.
"${as_root[@]}" mmdebstrap --quiet --variant=minbase --mode=root --skip=cleanup/apt \
  "${options[@]}" "$@" "$(. /etc/os-release && echo "$VERSION_CODENAME")" \
  "$folder" "$sources"
