#!/usr/bin/env bash
# Unpacks Debian packages of another architecture into FOLDER. Nothing is installed and the
# machine's own package lists stay as they are.
# usage: foreign_packages.sh ARCHITECTURE FOLDER PACKAGE...
set -euo pipefail
[ $# -ge 3 ] || { sed -n '2,4s/^# //p' "$0" >&2; exit 2; }
architecture=$1
folder=$(realpath -m "$2")
shift 2
stamp=$folder/.packages
[ "$(cat "$stamp" 2>/dev/null)" != "$*" ] || exit 0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{state/lists/partial,cache/archives/partial,parts,debs} "$folder"
: >"$work/status"

# The machine's own Debian sources less the security archive, whose list may be older.
debian=/etc/apt/sources.list.d/debian.sources
if [ -e "$debian" ]; then
  awk 'BEGIN { RS = ""; ORS = "\n\n" } !/-security/' "$debian" >"$work/parts/main.sources"
else
  grep -v -e '-security' /etc/apt/sources.list >"$work/parts/main.list"
fi
cat >"$work/apt.conf" <<CONF
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
APT::Sandbox::User "root";
Dir::State "$work/state";
Dir::State::status "$work/status";
Dir::Cache "$work/cache";
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$work/parts";
CONF
(
  export APT_CONFIG=$work/apt.conf
  cd "$work/debs"
  apt-get -qq update
  apt-get -qq download "$@"
)
for package in "$work"/debs/*.deb; do dpkg-deb -x "$package" "$folder"; done
echo "$*" >"$stamp"
