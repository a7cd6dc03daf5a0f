#!/usr/bin/env bash
# Checks how the sources look and what clang-tidy has to say about the library. Changes nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
failed=0

complain() {
  echo "lint: $1" >&2
  failed=1
}

mapfile -t sources < <(find include src tools tests bench fuzz packaging \
  \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) | sort)
clang-format-14 --dry-run -Werror "${sources[@]}" || complain "run clang-format-14 -i on these"

mapfile -t texts < <(find . \( -path ./build -o -path ./out -o -path ./.git -o -path '*/data' \
  -o -path ./fuzz/corpus \) -prune -o -type f -print | sort | xargs grep -lI '')
if LC_ALL=C grep -nP '[^\x00-\x7F]' "${texts[@]}"; then complain "the lines above are not ASCII"; fi
if grep -nE '[ 	]+$' "${texts[@]}"; then complain "the lines above end in spaces"; fi
if grep -nE '^.{101}' "${sources[@]}"; then complain "the lines above are over 100 columns"; fi

cmake --preset release >/dev/null
grep -oP '"file": "\K[^"]*/src/[^"]*\.cpp' build/release/compile_commands.json | sort -u |
  xargs -P "$(nproc)" -n 1 clang-tidy-14 --quiet -p build/release \
    --extra-arg=-fconstexpr-steps=100000000 --extra-arg=-Wno-unknown-warning-option 2>/dev/null ||
  complain "clang-tidy found the above"

[ "$failed" -eq 0 ] && echo "lint: ${#sources[@]} sources are clean"
