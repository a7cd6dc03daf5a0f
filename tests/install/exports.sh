#!/usr/bin/env bash
# The shared library exports what exports.map lists, with its version node, and nothing else.
# usage: exports.sh LIBRARY SOURCE
set -euo pipefail
library=$1 source=$2
node=$(grep -oP '^\w+(?= \{)' "$source/src/exports.map")
listed=$(grep -oP '^\s+\K\w+(?=;)' "$source/src/exports.map" | sed "s/$/@@$node/" | sort)
if [ ! -e "$source/src/driver/driver_entry.cpp" ]; then
  listed=$(grep -v "^DriverProc@@" <<<"$listed")
fi
diff <(echo "$listed") <(nm -D --defined-only "$library" | awk '$2 != "A" {print $3}' | sort) ||
  { echo "exports.map (<) and the names that $library exports (>) differ" >&2; exit 1; }
