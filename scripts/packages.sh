#!/usr/bin/env bash
# Installs the Debian packages of a list (packages.txt by default) that are missing: as root, or
# through sudo; else it prints the line to run and stops. Says nothing when nothing is missing.
# usage: scripts/packages.sh [LIST]
set -euo pipefail
list=${1:-$(dirname "$0")/../packages.txt}

if ! command -v dpkg-query >/dev/null; then
  echo "This is no Debian: its counterparts of the packages in $(basename "$list") are needed." >&2
  exit 0
fi

is_installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

missing=()
while read -r package; do
  is_installed "$package" || missing+=("$package")
done < <(grep -v '^ *\(#\|$\)' "$list")
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null || ! { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
    echo "Packages are missing. As root, run:" >&2
    echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

apt() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@"; }
install_missing() { apt install -y --no-install-recommends "${missing[@]}"; }

echo "Installing ${missing[*]}" >&2
# An old list may name versions that are gone, and a new machine has none.
if apt-cache show "${missing[@]}" >/dev/null 2>&1 && install_missing >&2; then exit 0; fi
apt update >&2
install_missing >&2
