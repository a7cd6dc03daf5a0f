#!/usr/bin/env bash
# Makes docs/index.html, the page about the project. usage:
#   ./docs.sh            with the last measurement of ./bench.sh --page, if there is one
#   ./docs.sh --speed    measures first, which takes minutes
set -euo pipefail
cd "$(dirname "$0")"
case "${1:-}" in
  '') ;;
  --speed) ./bench.sh --page >/dev/null ;;
  -h | --help) sed -n '2,/^[^#]/s/^# //p' "$0"; exit 0 ;;
  *) sed -n '2,/^[^#]/s/^# //p' "$0" >&2; exit 2 ;;
esac
scripts/packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target tkmjpg_command >/dev/null
command=build/release/tools/tkmjpg/tkmjpg
results=()
for rung in plain sse4 avx2 avx512 neon; do
  [ ! -e "build/bench-$rung.json" ] || results+=("build/bench-$rung.json")
done
version=$("$command" --version | sed -n '1s/.* //p')
docs/make_page.py "$command" "$version" docs/index.html ${results[@]+"${results[@]}"}
echo docs/index.html
