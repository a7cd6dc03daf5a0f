#!/usr/bin/env bash
# Prints the version, as include/tkmjpg.h states it.
set -euo pipefail
sed -n 's/^#define TKMJPG_VERSION_\(MAJOR\|MINOR\|PATCH\) \([0-9]*\)$/\2/p' \
  "$(dirname "$0")/../include/tkmjpg.h" | paste -sd.
