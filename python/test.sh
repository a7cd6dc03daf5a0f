#!/usr/bin/env bash
# Makes a wheel around LIBRARY, unpacks it in FOLDER as an installer does, and tests what is there:
# the types and what it does.
# usage: test.sh LIBRARY FOLDER
set -euo pipefail
here=$(realpath "$(dirname "$0")")
"$here/wheel.sh" "$1" "$2"
cd "$2"
mkdir site
/usr/bin/python3 -m zipfile -e ./*-py3-none-*.whl site
export PYTHONPATH=$2/site PYTHONDONTWRITEBYTECODE=1
/usr/bin/python3 -W error -m unittest discover -s "$here/tests"
cd site
# No syntax that the oldest Python of setup.py does not know.
/usr/bin/python3 - tkmjpg/*.py <<'PROGRAM'
import ast, sys
for name in sys.argv[1:]:
    ast.parse(open(name).read(), name, feature_version=(3, 7))
PROGRAM
mypy --strict --cache-dir ../mypy tkmjpg
