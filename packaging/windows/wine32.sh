#!/usr/bin/env bash
# Makes a 32-bit wine under FOLDER without adding a foreign architecture to this machine: packages
# of i386 are fetched with a package list of their own and unpacked, not installed. wine64 and
# libc6-i386 have to be there.
# usage: wine32.sh FOLDER; then run FOLDER/wine32 PROGRAM
set -euo pipefail
folder=$(realpath -m "$1")
[ ! -e "$folder/wine32" ] || exit 0
mkdir -p "$folder"/{state/lists/partial,cache/archives/partial,parts,debs,root}
: >"$folder/status"

# The machine's own Debian sources less the security archive, whose list of i386 may be behind.
debian=/etc/apt/sources.list.d/debian.sources
if [ -e "$debian" ]; then
  awk 'BEGIN { RS = ""; ORS = "\n\n" } !/-security/' "$debian" >"$folder/parts/main.sources"
else
  grep -v -e '-security' /etc/apt/sources.list >"$folder/parts/main.list"
fi
cat >"$folder/apt.conf" <<CONF
APT::Architecture "i386";
APT::Architectures { "i386"; };
APT::Sandbox::User "root";
Dir::State "$folder/state";
Dir::State::status "$folder/status";
Dir::Cache "$folder/cache";
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$folder/parts";
CONF
packages=(wine32 libwine libunwind8 liblzma5 libgcc-s1 zlib1g libx11-6 libxext6 libxcb1 libxau6
  libxdmcp6 libbsd0 libmd0 libfreetype6 libpng16-16 libbrotli1 libbz2-1.0 libfontconfig1 libexpat1)
(
  export APT_CONFIG=$folder/apt.conf
  cd "$folder/debs"
  apt-get -qq update
  apt-get -qq download "${packages[@]}"
)
for package in "$folder"/debs/*.deb; do dpkg-deb -x "$package" "$folder/root"; done
rm -rf "$folder/debs"
# An installed libwine makes this one itself.
cp /usr/lib/x86_64-linux-gnu/wine/i386-windows/zlib1.dll \
  "$folder/root/usr/lib/i386-linux-gnu/wine/i386-windows/"
for program in wine wineserver; do
  path=$folder/root/usr/lib
  [ $program = wine ] && real=wine || real=wineserver32
  cat >"$folder/$program.new" <<RUN
#!/bin/sh
LD_LIBRARY_PATH=$path/i386-linux-gnu:$folder/root/lib/i386-linux-gnu \\
  WINESERVER=$path/wine/wineserver32 exec $path/wine/$real "\$@"
RUN
  chmod +x "$folder/$program.new"
done
mv "$folder/wineserver.new" "$folder/wineserver32"
mv "$folder/wine.new" "$folder/wine32"
