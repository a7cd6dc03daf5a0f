#!/usr/bin/env bash
# Builds the Windows package and tests it under wine, in 64 and in 32 bits. What is needed is
# installed; where that cannot be done, the tests fail. Wine's own files stay under build/.
set -uo pipefail
cd "$(dirname "$0")/../.." || exit
if ! scripts/packages.sh packaging/windows/packages.txt; then
  echo "Windows tests: failed, their packages cannot be had here" >&2
  exit 1
fi

root=$PWD
version=$(scripts/version.sh)
wine_folder=$root/build/wine
log=$wine_folder/log
drivers='HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Drivers32'
passed=0
failed=0
# Which wine runs: 64, 32, or wow for a wine of 64 bits that runs programs of 32.
system=64
# Whose library and programs are tested.
bits=64
mkdir -p "$wine_folder"
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY

wine() {
  export WINEPREFIX=$wine_folder/prefix$system
  case $system in
    64) WINEARCH=win64 /usr/lib/wine/wine64 "$@" ;;
    32) WINEARCH=win32 "$wine_folder/wine32/wine32" "$@" ;;
    wow) WINEARCH=win64 WINEDLLPATH=$wine_folder/wine32/root/usr/lib/i386-linux-gnu/wine \
      /usr/lib/wine/wine64 "$@" ;;
  esac
}
wineserver() {
  local server=/usr/lib/wine/wineserver64
  [ $system != 32 ] || server=$wine_folder/wine32/wineserver32
  WINEPREFIX=$wine_folder/prefix$system "$server" "$@"
}
# A prefix is 700 MB of copied files, and names a folder in /tmp that its server leaves behind.
end_wine() {
  wineserver -k >/dev/null 2>&1
  local prefix=$wine_folder/prefix$system
  if [ -s "$prefix/wineserver" ]; then rm -rf "/tmp/$(basename "$(cat "$prefix/wineserver")")"; fi
  rm -rf "$prefix"
}
end_all() {
  wait
  for system in 64 32 wow; do end_wine; done
}
trap end_all EXIT

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
  export system wine_folder
  timeout -k 5 "$seconds" bash -c 'wine "$@"' wine "$@"
}
host() { run 100 "$root/build/windows$bits/tests/windows/host.exe" "$@"; }

build() {
  cmake --preset "windows$bits" && cmake --build --preset "windows$bits"
}

objdump() { x86_64-w64-mingw32-objdump "$@"; }

width_is_right() {
  local format=pei-x86-64
  [ $bits = 64 ] || format=pei-i386
  objdump -f "$dll" && objdump -f "$dll" | grep -q "file format $format\$"
}

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

# Texts there have 16 bits a character.
version_is_told() {
  grep -qaP "P\0r\0o\0d\0u\0c\0t\0V\0e\0r\0s\0i\0o\0n\0" "$dll" &&
    grep -qaP "$(sed 's/./[&]\\0/g' <<<"$version")" "$dll"
}

test_build() {
  dll=build/windows$bits/src/tkmjpg32.dll
  expect "the library's width" width_is_right
  expect "the three names are exported, undecorated" exports_are_right
  expect "nothing but the system is imported" imports_are_the_systems
  expect "the version is told" version_is_told
  [ $bits = 32 ] || expect "wide registers are moved unaligned" no_aligned_wide_moves
}

make_prefix() {
  end_wine
  run 120 wineboot -i || return 1
  # Dialogs work without a screen with this driver, from the next start of wine on.
  run 60 reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f || return 1
  wineserver -k
  return 0
}

inf_command() {
  echo "rundll32 setupapi.dll,InstallHinfSection $1 128 $(dos "$package")\\tkmjpg.inf"
}
# What it did shows in what follows.
inf() {
  # shellcheck disable=SC2046  # words of a command
  run 60 $(inf_command "$1")
  echo "$1: code $?"
}

windows_file() { echo "$wine_folder/prefix$system/drive_c/windows/$1"; }

register() { run 60 reg add "$drivers" /v vidc.mjpg /d "$1" /f; }
is_registered() { run 60 reg query "$drivers" /v vidc.mjpg && grep -q "REG_SZ *$1" "$log"; }

# After another codec, whose name is kept. The settings must not need win.ini, which is no file here.
installed() {
  register before.dll || return 1
  inf DefaultInstall
  if [ $system = 32 ]; then
    cmp "$package/x86/tkmjpg32-x86.dll" "$(windows_file system32/tkmjpg32.dll)" || return 1
  else
    cmp "$package/x64/tkmjpg32.dll" "$(windows_file system32/tkmjpg32.dll)" || return 1
    cmp "$package/x86/tkmjpg32-x86.dll" "$(windows_file syswow64/tkmjpg32.dll)" || return 1
  fi
  rm -f "$(windows_file win.ini)" && mkdir "$(windows_file win.ini)" && host registered yes
}

nothing_is_left() {
  ! find "$(windows_file .)" -iname 'tkm*' | grep .
}

gives_back() {
  inf DefaultUninstall
  is_registered before.dll || return 1
  [ $system = 32 ] || ! run 60 reg query "${drivers/SOFTWARE/SOFTWARE\\Wow6432Node}" /v vidc.mjpg
}

# The codec that came later stays. Without the mapping, win.ini would be needed.
leaves_another() {
  inf DefaultInstall
  register later.dll || return 1
  inf DefaultUninstall
  is_registered later.dll && run 60 reg delete "$drivers" /v vidc.mjpg /f &&
    doctor_says 1 "have no codec" "settings cannot be stored"
}

removed_at_next_start() {
  local system_programs=
  # A 32-bit program sees the 64-bit system's programs there.
  [ $system != wow ] || system_programs='C:\windows\sysnative\'
  inf DefaultInstall
  host removal "$system_programs$(inf_command DefaultUninstall)" && host registered no &&
    run 60 wineboot -r && nothing_is_left
}

# The doctor's exit code, and what its summary has.
doctor_says() {
  local code=$1 told
  shift
  run 60 "$package/$folder/doctor.exe"
  [ $? -eq "$code" ] || return 1
  told=$(tail -n 1 "$log")
  for text in "$@"; do [[ $told = summary*$text* ]] || return 1; done
}

# What is registered, what lies in the system's folder, then as above. A good library of the same
# name is beside the doctor.
doctor_judges() {
  local name=$1 file=$2 system_file
  shift 2
  system_file=$(windows_file "$system_folder/tkmjpg32.dll")
  rm -f "$system_file"
  [ "$file" = none ] || cp "$file" "$system_file"
  echo "with $name and $file"
  run 60 reg add "$own_drivers" /v vidc.mjpg /d "$name" /f && doctor_says "$@"
}
doctor_knows() {
  local other=x86/tkmjpg32-x86.dll faulty="the codec does not open in $bits-bit programs"
  [ $bits = 64 ] || other=x64/tkmjpg32.dll
  head -c 100 "$dll" >"$wine_folder/cut.dll"
  head -c 4096 "$dll" >"$wine_folder/header.dll"
  cp "$dll" "$(windows_file "$system_folder/mytkmjpg32.dll.bak")"
  cp "$dll" "$package/$folder/tkmjpg32.dll"
  doctor_judges mytkmjpg32.dll.bak "$dll" 1 "$bits-bit programs use another codec" &&
    doctor_judges tkmjpg32.dll "$package/$other" 1 "is a $((96 - bits))-bit library" "$faulty" &&
    doctor_judges tkmjpg32.dll "$wine_folder/cut.dll" 1 "is no library of Windows" "$faulty" &&
    doctor_judges tkmjpg32.dll "$wine_folder/header.dll" 1 "$faulty" &&
    doctor_judges tkmjpg32.dll none 1 "file for $bits-bit programs is missing" "$faulty" &&
    doctor_judges TKMJPG32.DLL "$dll" 0 "the codec is installed and works"
  local result=$?
  rm "$(windows_file "$system_folder/mytkmjpg32.dll.bak")"
  return $result
}

test_under_wine() {
  dll=$root/build/windows$bits/src/tkmjpg32.dll
  own_drivers=$drivers
  system_folder=system32
  [ $bits = 64 ] && folder=x64 || folder=x86
  if [ $system = wow ]; then
    own_drivers=${drivers/SOFTWARE/SOFTWARE\\Wow6432Node}
    system_folder=syswow64
  fi
  expect "vectors" run 100 "build/windows$bits/tests/windows/vectors_host.exe" \
    "$(dos "$root/tests/data/vectors")" "$(dos "$dll")"
  expect "the INF installs" installed
  expect "the doctor finds it" doctor_says 0 "the codec is installed and works"
  expect "the doctor knows what is wrong" doctor_knows
  expect "messages, state and series, by the registry and by function" host codec "$(dos "$dll")"
  expect "the profile counts" host profile
  expect "an AVI there and back" host avi
  expect "soak" host soak "$(dos "$dll")"
  if [ $system != wow ]; then
    # Wine opens no window for programs of 32 bits there.
    expect "the dialog" host dialog "$(dos "$dll")"
    expect "the doctor waits when double-clicked" host pause "$(dos "$package/$folder/doctor.exe")"
  fi
  expect "the INF gives back the codec before it" gives_back
  expect "the INF leaves another codec" leaves_another
  expect "files in use go at the next start" removed_at_next_start
  end_wine
}

# Wine is made ready while the compilers run.
make_ready_64() { system=64 make_prefix; }
make_ready_32() {
  packaging/windows/wine32.sh "$wine_folder/wine32" || return 1
  system=$system_of_32 make_prefix || [ $system_of_32 = wow ]
}
ready() {
  wait "$1"
  local code=$?
  cat "$2"
  return $code
}

# A kernel may be built without 32-bit programs. 64-bit wine may run those of Windows even so.
system_of_32=32
if ! /lib/ld-linux.so.2 --version >/dev/null 2>&1; then
  echo "32-bit tests under 32-bit wine: skipped, this kernel cannot run 32-bit programs"
  system_of_32=wow
fi
test_32_bits() {
  expect "a fresh system" ready $ready_32 "$wine_folder/ready32"
  system=$system_of_32
  if [ $system = 32 ] || { host >"$log" 2>&1; grep -q "0 checks passed" "$log"; }; then
    test_under_wine
  else
    echo "32-bit tests under 64-bit wine: skipped, it cannot run 32-bit programs here"
  fi
}

make_ready_64 >"$wine_folder/ready64" 2>&1 &
ready_64=$!
make_ready_32 >"$wine_folder/ready32" 2>&1 &
ready_32=$!
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
  system=64
  expect "a fresh system" ready $ready_64 "$wine_folder/ready64"
  test_under_wine
  bits=32
  test_32_bits
fi
echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
