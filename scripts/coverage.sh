#!/usr/bin/env bash
# Runs the tests in a build that counts (build/coverage), and prints how many lines of src/ they
# run: a line for each folder, and one for all. A line that is compiled several times, for each
# instruction set or type, counts once, as run if any of them ran. Code for instruction sets that
# this processor lacks is compiled and not run.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage --output-on-failure -j "$(nproc)"

find "$PWD/build/coverage" -name '*.gcda' | sort |
  xargs gcov --stdout --relative-only --source-prefix "$PWD" 2>/dev/null |
  awk -F: '
    $3 == "Source" && $2 + 0 == 0 { file = $4; next }
    file !~ /^src\// || $1 ~ /^ *-+$/ || NF < 3 { next }
    {
      at = file ":" $2
      lines[at] = file
      if ($1 !~ /[#=]/) run[at] = 1
    }
    END {
      for (at in lines) {
        split(lines[at], part, "/")
        folder = part[1] "/" part[2]
        all[folder]++; all["src"]++
        if (at in run) { ran[folder]++; ran["src"]++ }
      }
      for (folder in all) {
        printf "%-14s %5d of %5d lines run, %5.1f %%\n", folder, ran[folder], all[folder],
          100 * ran[folder] / all[folder]
      }
    }' | sort
