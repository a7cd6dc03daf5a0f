#!/usr/bin/env bash
# Checks how the sources look and what clang-tidy has to say about the library. Changes nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
failed=0

complain() {
  echo "lint: $1" >&2
  failed=1
}

mapfile -t sources < <(find include src plugins tools tests bench fuzz packaging \
  \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) | sort)
clang-format-14 --dry-run -Werror "${sources[@]}" || complain "run clang-format-14 -i on these"

mapfile -t texts < <(find . \( -path ./build -o -path ./out -o -path ./.git -o -path '*/data' \
  -o -path ./fuzz/corpus -o -path ./docs/index.html \) -prune -o -type f -print | sort | xargs grep -lI '')
if LC_ALL=C grep -nP '[^\x00-\x7F]' "${texts[@]}"; then complain "the lines above are not ASCII"; fi
if grep -nE '[ 	]+$' "${texts[@]}"; then complain "the lines above end in spaces"; fi
if grep -nE '^.{101}' "${sources[@]}"; then complain "the lines above are over 100 columns"; fi

# clang-tidy is slow: a file is looked at again when it, a header that it includes, a setting or the
# compiler's options have changed. build/lint holds a stamp of each that was clean.
mkdir -p build/lint
cmake --preset release >/dev/null
cmake --build --preset release >/dev/null || complain "the build fails"

# The compiler's options, without one that clang does not know.
sed 's/\\"-mtune-ctrl=[^ ]*\\"//' build/release/compile_commands.json >build/lint/compile_commands.json

# usage: tidy FILE HEADER...: looks at a file unless its stamp stands.
tidy() {
  local file=$1 stamp
  stamp=build/lint/$(cat "$@" .clang-tidy {tests,bench}/.clang-tidy scripts/lint.sh \
    CMakeLists.txt CMakePresets.json | sha256sum | cut -c 1-40)-$(basename "$file")
  [ ! -e "$stamp" ] || return 0
  # The analyser's deep mode takes three times as long as all the rest.
  clang-tidy-14 --quiet -p build/lint --extra-arg=-fconstexpr-steps=100000000 \
    --extra-arg=-Wno-unknown-warning-option --extra-arg=-Xclang --extra-arg=-analyzer-config \
    --extra-arg=-Xclang --extra-arg=mode=shallow "$file" 2>/dev/null || return
  touch "$stamp"
}
export -f tidy

# A line for each source of the project that the build has compiled, with the headers of the project
# that it includes.
ninja -C build/release -t deps | awk -v root="$PWD/" '
  function tell() { if (source != "") print source headers }
  /^[^ ]/ { tell(); source = headers = ""; valid = /\(VALID\)$/ }
  valid && /^ / && index($1, root) == 1 {
    path = substr($1, length(root) + 1)
    if (path ~ /^build\//) next
    if (source == "") source = path; else headers = headers " " path
  }
  END { tell() }' | sort -u |
  xargs -P "$(nproc)" -L 1 bash -c 'tidy "$@"' tidy || complain "clang-tidy found the above"

[ "$failed" -eq 0 ] && echo "lint: ${#sources[@]} sources are clean"
