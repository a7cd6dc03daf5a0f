#!/bin/sh
# Codes one part of a plan, unless it is there and right. Every scheduler runs this.
# usage: part.sh PLAN NUMBER INPUT [OPTION OF ENCODE...]
#   NUMBER counts the lines of the plan from 1; TKMJPG names the command.
set -eu
plan=$1 number=$2 input=$3
shift 3
line=$(sed -n "${number}p" "$plan")
if [ -z "$line" ]; then
  echo "part.sh: $plan: has no line $number" >&2
  exit 2
fi
tab=$(printf '\t')
range=${line%%"$tab"*} part=${line#*"$tab"}
exec "${TKMJPG:-tkmjpg}" encode "$input" "$part" --frames "$range" --manifest "$part.json" \
  --resume --quiet "$@"
