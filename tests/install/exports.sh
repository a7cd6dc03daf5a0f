#!/usr/bin/env bash
# The shared library exports what exports.map lists, and nothing else.
# usage: exports.sh LIBRARY SOURCE
set -euo pipefail
library=$1 source=$2
listed=$(grep -oP '^\s+\K\w+(?=;)' "$source/src/exports.map" | sort)
if [ ! -e "$source/src/driver/driver_entry.cpp" ]; then
  listed=$(grep -vx DriverProc <<<"$listed")
fi
diff <(echo "$listed") <(nm -D --defined-only "$library" | awk '{print $3}' | sort) ||
  { echo "exports.map (<) and the names that $library exports (>) differ" >&2; exit 1; }
