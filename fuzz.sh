#!/usr/bin/env bash
# Fuzzes under the address and undefined-behaviour sanitizers.
#   ./fuzz.sh                   lists the targets
#   ./fuzz.sh TARGET SECONDS    one target (fuzz/TARGET_fuzz.cpp)
#   ./fuzz.sh --all SECONDS     each of them, as many at once as there are processors
#   ./fuzz.sh --replay          every target over its corpus in fuzz/corpus, once
#   ./fuzz.sh --keep            adds to fuzz/corpus what runs have learned and it does not cover
# What a run learns goes to build/fuzz/corpus, what it finds to build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")"

mapfile -t targets < <(find fuzz -name '*_fuzz.cpp' -printf '%f\n' | sed 's/_fuzz\.cpp$//' | sort)

usage() {
  sed -n '2,8s/^# //p' "$0"
  echo "Targets: ${targets[*]:-none}"
}

build() {
  scripts/packages.sh
  cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz
}

# usage: run TARGET [OPTION OF LIBFUZZER...]
run() {
  local target=$1
  shift
  local learned=build/fuzz/corpus/$target seeds=fuzz/corpus/$target
  mkdir -p "$learned" build/fuzz/findings
  local folders=("$learned")
  [ ! -d "$seeds" ] || folders+=("$seeds")
  local dictionary=()
  [ ! -e fuzz/markers.dict ] || dictionary=(-dict=fuzz/markers.dict)
  "build/fuzz/fuzz/${target}_fuzz" "${dictionary[@]}" -timeout=20 -rss_limit_mb=2048 \
    -artifact_prefix="build/fuzz/findings/$target-" "$@" "${folders[@]}"
}

fuzz() {
  echo "== $1, $2 s"
  run "$1" -max_total_time="$2" -print_final_stats=1 -verbosity=0 -print_funcs=0
}

replay() {
  echo "== $1, its corpus once"
  run "$1" -runs=0 -verbosity=0 -print_funcs=0
}

keep() {
  echo "== $1, what its corpus lacks"
  local learned=build/fuzz/corpus/$1 seeds=fuzz/corpus/$1
  mkdir -p "$learned" "$seeds"
  "build/fuzz/fuzz/$1_fuzz" -merge=1 -verbosity=0 "$seeds" "$learned"
  du -sh "$seeds"
}

# usage: at_once FUNCTION [ARGUMENT]: the function for every target, a processor each; what it prints
# is shown when it ends.
at_once() {
  export -f "$1" run
  printf '%s\n' "${targets[@]}" |
    xargs -P "$(nproc)" -I '{}' bash -c 'output=$("$1" "$2" "${@:3}" 2>&1)
      code=$?; echo "$output"; exit $code' at_once "$1" '{}' "${@:2}"
}

is_number() { [[ $1 =~ ^[1-9][0-9]*$ ]]; }

case "${1:-}" in
  --replay)
    build
    at_once replay
    ;;
  --keep)
    build
    for target in "${targets[@]}"; do keep "$target"; done
    ;;
  --all)
    is_number "${2:-}" || { usage >&2; exit 2; }
    build
    at_once fuzz "$2"
    ;;
  '' | -h | --help) usage ;;
  *)
    if [ ! -e "fuzz/$1_fuzz.cpp" ] || ! is_number "${2:-}"; then
      usage >&2
      exit 2
    fi
    build
    fuzz "$1" "$2"
    ;;
esac
