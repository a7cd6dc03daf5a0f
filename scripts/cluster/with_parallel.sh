#!/usr/bin/env bash
# Codes the parts of a plan with GNU parallel, here or on other machines, and joins them. Run it
# again after a failure: what is there is kept.
# usage: with_parallel.sh PLAN INPUT OUTPUT [OPTION OF ENCODE...]
#   JOBS     parts at once, on each machine (default: one a core)
#   HOSTS    machines for ssh, with commas between them, that see this folder under the same name
#   SSH      how they are reached (default: ssh)
#   TKMJPG   the command
set -euo pipefail
plan=$1 input=$2 output=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
export TKMJPG=${TKMJPG:-tkmjpg}

where=(--jobs "${JOBS:-100%}")
if [ -n "${HOSTS:-}" ]; then
  where+=(--ssh "${SSH:-ssh}" --sshlogin "$HOSTS" --workdir "$PWD" --env TKMJPG)
fi
# A part that fails is tried again, on another machine where there is one.
seq "$(wc -l <"$plan")" |
  parallel --will-cite --retries 3 --quote "${where[@]}" \
    "$here/part.sh" "$plan" {} "$input" --threads 1 "$@"
exec "$here/join.sh" "$plan" "$output"
