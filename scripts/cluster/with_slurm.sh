#!/usr/bin/env bash
# Submits the parts of a plan as a Slurm array, and a job that joins them when all are done. Prints
# the numbers of both. Submit again after a failure: what is there is kept.
# usage: with_slurm.sh PLAN INPUT OUTPUT [OPTION OF ENCODE...]
#   SBATCH_OPTIONS   for both jobs, as "--partition=video --time=30"
#   TKMJPG           the command
# The nodes see this folder and that of the scripts under the same names.
set -euo pipefail
plan=$1 input=$2 output=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
export TKMJPG=${TKMJPG:-tkmjpg}
read -ra options <<<"${SBATCH_OPTIONS:-}"
quote() { printf '%q ' "$@"; }

# A task of a node that fails or is drained goes back into the queue.
parts=$(quote "$here/part.sh" "$plan")'"$SLURM_ARRAY_TASK_ID" '
parts+=$(quote "$input" --threads 1 "$@")
array=$(sbatch --parsable --requeue --job-name=tkmjpg-parts --array="1-$(wc -l <"$plan")" \
  --cpus-per-task=1 --open-mode=append --output=slurm-%A_%a.log \
  ${options[@]+"${options[@]}"} --wrap="exec $parts")
join=$(sbatch --parsable --requeue --job-name=tkmjpg-join --dependency="afterok:$array" \
  --kill-on-invalid-dep=yes --open-mode=append --output=slurm-%j.log \
  ${options[@]+"${options[@]}"} --wrap="exec $(quote "$here/join.sh" "$plan" "$output")")
echo "$array $join"
