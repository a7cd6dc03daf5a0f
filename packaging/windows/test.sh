#!/usr/bin/env bash
# Builds the Windows package and tests it under wine, in 64 and in 32 bits. What is needed is
# installed; where that cannot be done, the tests are skipped. Wine's own files stay under build/.
set -uo pipefail
cd "$(dirname "$0")/../.."
if ! scripts/packages.sh packaging/windows/packages.txt; then
  echo "Windows tests: skipped, their packages cannot be had here"
  exit 0
fi

root=$PWD
version=$(sed -n 's/^project(tkmjpg VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
wine_folder=$root/build/wine
log=$wine_folder/log
passed=0
failed=0
bits=0
mkdir -p "$wine_folder"
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY

wine() {
  case $bits in
    64) WINEPREFIX=$wine_folder/prefix64 WINEARCH=win64 /usr/lib/wine/wine64 "$@" ;;
    32) WINEPREFIX=$wine_folder/prefix32 WINEARCH=win32 "$wine_folder/wine32/wine32" "$@" ;;
  esac
}
wineserver() {
  case $bits in
    64) WINEPREFIX=$wine_folder/prefix64 /usr/lib/wine/wineserver64 "$@" ;;
    32) WINEPREFIX=$wine_folder/prefix32 "$wine_folder/wine32/wineserver32" "$@" ;;
  esac
}
# A prefix is 700 MB of copied files, and names a folder in /tmp that its server leaves behind.
end_wine() {
  wineserver -k >/dev/null 2>&1
  local prefix=$wine_folder/prefix$bits
  if [ -s "$prefix/wineserver" ]; then rm -rf "/tmp/$(basename "$(cat "$prefix/wineserver")")"; fi
  rm -rf "$prefix"
}
trap end_wine EXIT

# The name of a file of this machine in wine.
dos() { echo "Z:${1//\//\\}"; }

# Runs a command; what it prints is shown when it fails, and always its lines with figures.
expect() {
  local name="$bits bits: $1"
  shift
  local begin=$SECONDS
  if "$@" >"$log" 2>&1; then
    passed=$((passed + 1))
    echo "ok      $name ($((SECONDS - begin)) s)"
    tr -d '\r' <"$log" | grep -E '^[0-9,]+ .*: heap|: [0-9]+ cases' | sed 's/^/          /'
  else
    failed=$((failed + 1))
    echo "FAILED  $name"
    tr -d '\r' <"$log" | tail -n 20 | sed 's/^/          /'
  fi
}

# Wine in a pipe would make every run wait for its services; `expect` writes to a file.
run() {
  local seconds=$1
  shift
  export -f wine
  export bits wine_folder
  timeout -k 5 "$seconds" bash -c 'wine "$@"' wine "$@"
}
host() { run 100 "$root/build/windows$bits/tests/windows/host.exe" "$@"; }

build() {
  cmake --preset "windows$bits" && cmake --build --preset "windows$bits"
}

objdump() { x86_64-w64-mingw32-objdump "$@"; }

exports_are_right() {
  diff <(objdump -p "$dll" | sed -n 's/^\t\[ *[0-9]*\] \([A-Za-z_@0-9]*\)$/\1/p' | sort) \
    <(sed -n 's/^  \(\w*\)\r*$/\1/p' src/exports.def | sort)
}

imports_are_the_systems() {
  local names
  names=$(objdump -p "$dll" | sed -n 's/.*DLL Name: //p' | tr '[:lower:]' '[:upper:]' | sort)
  echo "$names"
  [ "$names" = $'KERNEL32.DLL\nMSVCRT.DLL\nUSER32.DLL\nWINMM.DLL' ]
}

# The stack is aligned to 16 bytes only, where a wide register may have to lie.
no_aligned_wide_moves() {
  ! objdump -d "$dll" | grep -E 'vmov(dqa|dqa32|dqa64|aps|apd|ntdq|ntps) .*%[yz]mm.*\(|vmov(dqa|dqa32|dqa64|aps|apd) .*\(.*%[yz]mm'
}

version_is_told() { grep -qaP "P\0r\0o\0d\0u\0c\0t\0V\0e\0r\0s\0i\0o\0n\0" "$dll"; }

make_prefix() {
  end_wine
  run 120 wineboot -i || return 1
  # Dialogs work without a screen with this driver, from the next start of wine on.
  run 60 reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f || return 1
  wineserver -k
  return 0
}

inf() {
  run 60 rundll32 setupapi.dll,InstallHinfSection "$1" 128 "$(dos "$package")\\tkmjpg.inf"
}

windows_file() { echo "$wine_folder/prefix$bits/drive_c/windows/$1"; }

installed() {
  inf DefaultInstall || return 1
  if [ $bits = 64 ]; then
    cmp "$package/x64/tkmjpg32.dll" "$(windows_file system32/tkmjpg32.dll)" || return 1
    cmp "$package/x86/tkmjpg32-x86.dll" "$(windows_file syswow64/tkmjpg32.dll)" || return 1
  else
    cmp "$package/x86/tkmjpg32-x86.dll" "$(windows_file system32/tkmjpg32.dll)" || return 1
  fi
  host registered yes
}

uninstalled() {
  inf DefaultUninstall || return 1
  if ls "$(windows_file system32/tkmjpg32.dll)" "$(windows_file syswow64/tkmjpg32.dll)" \
    "$(windows_file inf/tkmjpg.inf)" 2>/dev/null; then
    echo "these were left behind"
    return 1
  fi
  host registered no || return 1
  run 60 "$package/$folder/doctor.exe" || return 1
  ! grep -q "use tkmjpg32" "$log"
}

# Which widths the doctor says find the codec.
doctor_says() {
  run 60 "$package/$folder/doctor.exe" || return 1
  local widths=1
  [ $bits = 32 ] || widths=2
  [ "$(grep -c "programs *use tkmjpg32.dll" "$log")" -eq $widths ] && [ "$(grep -c \
    "tkmjpg32.dll, version $version" "$log")" -eq $widths ] && grep -q "opened as $bits" "$log"
}

test_build() {
  dll=build/windows$bits/src/tkmjpg32.dll
  expect "the three names are exported, undecorated" exports_are_right
  expect "nothing but the system is imported" imports_are_the_systems
  expect "the version is told" version_is_told
  [ $bits = 32 ] || expect "wide registers are moved unaligned" no_aligned_wide_moves
}

test_under_wine() {
  dll=$root/build/windows$bits/src/tkmjpg32.dll
  [ $bits = 64 ] && folder=x64 || folder=x86
  expect "a fresh system" make_prefix
  expect "vectors" run 100 "build/windows$bits/tests/windows/vectors_host.exe" \
    "$(dos "$root/tests/data/vectors")" "$(dos "$dll")"
  expect "the INF installs" installed
  expect "the doctor finds it" doctor_says
  expect "messages, state and series, by the registry and by function" host codec "$(dos "$dll")"
  expect "the profile counts" host profile
  expect "an AVI there and back" host avi
  expect "the dialog" host dialog "$(dos "$dll")"
  expect "soak" host soak "$(dos "$dll")"
  expect "the INF removes" uninstalled
  end_wine
}

bits=64
expect "builds" build
bits=32
expect "builds" build
if [ $failed -eq 0 ]; then
  for bits in 64 32; do test_build; done
  bits="64 and 32"
  expect "the package" packaging/windows/package.sh
  package=$(echo "$root"/build/package/tkmjpg-*-windows)
  bits=64
  test_under_wine
  bits=32
  expect "32-bit wine" packaging/windows/wine32.sh "$wine_folder/wine32"
  [ ! -e "$wine_folder/wine32/wine32" ] || test_under_wine
fi
echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
