#!/usr/bin/env bash
# Joins the parts of a plan, once all of them are there and as their manifests say.
# usage: join.sh PLAN OUTPUT
set -euo pipefail
mapfile -t parts < <(cut -f 2- "$1")
exec "${TKMJPG:-tkmjpg}" join --manifest --quiet --force "${parts[@]}" "$2"
