#!/usr/bin/python3
"""Files of other programs through the command, and the command's files through other programs.

One line a case: ok, FAIL or, if a program that makes the file does not work here, ERROR.
Exit code 0 if all are ok, 1 if not, 2 for bad usage.
"""
import argparse
import concurrent.futures
import fnmatch
import itertools
import os
import shutil
import sys
import tempfile
import time
from pathlib import Path

sys.dont_write_bytecode = True  # the tree of the sources stays as it is

import damage_cases
import decode_cases
import encode_cases
import picture_cases
import remake_cases
import sound_cases
from programs import Missing, Wrong

TABLES = (decode_cases, encode_cases, picture_cases, remake_cases, sound_cases, damage_cases)


def options():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--command", default=str(
        Path(__file__).resolve().parents[2] / "build/release/tools/tkmjpg/tkmjpg"),
        help="the command to test (default: of build/release)")
    parser.add_argument("--only", action="append", metavar="PATTERN",
                        help="names to run, as 'decode/*' or 'lav'; may be given again")
    parser.add_argument("--list", action="store_true", help="print the cases and what they test")
    parser.add_argument("--failed", action="store_true", help="print no line for what is ok")
    parser.add_argument("--keep", metavar="FOLDER", help="keep the files there, in a folder a case")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    return parser.parse_args()


def chosen(patterns):
    found = [case for table in TABLES for case in table.cases()]
    if not patterns:
        return found
    return [case for case in found
            if any(pattern in case[0] or fnmatch.fnmatch(case[0], pattern) for pattern in patterns)]


def outcome(number, case, command, root):
    """The folder has no name that a check could find in what a program says."""
    check = case[2]
    folder = root / f"{number:03}"
    folder.mkdir(parents=True)
    try:
        return "ok", check(command, folder) or ""
    except Wrong as error:
        return "FAIL", str(error)
    except Missing as error:
        return "ERROR", str(error)
    except Exception as error:  # a case must not end the others
        return "ERROR", f"{type(error).__name__}: {error}"


def run_all(cases, arguments, root):
    command = Path(arguments.command).resolve()
    wrong, begin = 0, time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        results = pool.map(outcome, range(len(cases)), cases, itertools.repeat(command),
                           itertools.repeat(root))
        for number, ((name, point, _), (verdict, text)) in enumerate(zip(cases, results)):
            wrong += verdict != "ok"
            if verdict != "ok" or not arguments.failed:
                kept = f" {number:03}" if arguments.keep else ""
                print(f"{verdict:5}{kept} {name:36} {point:>2}  {text}", flush=True)
    print(f"{len(cases) - wrong} of {len(cases)} are right, {time.monotonic() - begin:.0f} s")
    return 1 if wrong else 0


def main():
    arguments = options()
    cases = chosen(arguments.only)
    if not cases:
        print("zoo: no case has such a name, see --list", file=sys.stderr)
        return 2
    if arguments.list:
        for name, point, _ in cases:
            print(f"{name:36} {point:>2}")
        return 0
    root = Path(arguments.keep or tempfile.mkdtemp(prefix="zoo-"))
    if arguments.keep:
        shutil.rmtree(root, ignore_errors=True)
    try:
        return run_all(cases, arguments, root)
    finally:
        if not arguments.keep:
            shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
