#!/usr/bin/env python3
"""Plants the faults of tests/faults.txt one by one in a copy of the tree, and says which of them
the tests catch. Exit code 0 if all are caught, 1 if not, 2 for a name that is none.

usage: scripts/plant_faults.py [NAME...]

NAME is a fault, or a file or folder whose faults are meant; without any all of them are.
"""
import filecmp
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parent.parent
SCRATCH = ROOT / "build" / "faults"
TREE = SCRATCH / "tree"
SECONDS = 300  # a test that takes longer hangs

BUILDS = {"plain": "", "ubsan": "-fsanitize=undefined -fno-sanitize-recover=all",
          "tsan": "-fsanitize=thread"}
PROGRAMS = {"tests": ("plain", "tkmjpg_tests"), "tools": ("plain", "tkmjpg_tool_tests"),
            "ubsan": ("ubsan", "tkmjpg_tests"), "tsan": ("tsan", "tkmjpg_pipeline_tests")}


class Fault(NamedTuple):
    name: str
    file: str
    old: str
    new: str
    program: str
    tests: str

    def planted_in(self, text):
        """The text with the fault, and how often the old text was found."""
        new = self.new.replace("\\n", "\n")
        if self.old.startswith("re:"):
            return re.subn(self.old[3:], new, text, flags=re.DOTALL)
        old = self.old.replace("\\n", "\n")
        return text.replace(old, new), text.count(old)

    def is_meant_by(self, name):
        return self.name == name or Path(name) in (Path(self.file), *Path(self.file).parents)


def read_faults():
    lines = (ROOT / "tests" / "faults.txt").read_text().splitlines()
    groups = "\n".join(line for line in lines if not line.startswith("#")).strip().split("\n\n")
    faults = []
    for group in groups:
        head, _, rest = group.partition("\n")
        file, _, tests = head.partition(", ")
        program, _, tests = tests.rpartition(": ")
        for block in re.findall(r"^\S.*\n(?:  .*\n?)+", rest, flags=re.MULTILINE):
            name, old, *new = [line.removeprefix("  ") for line in block.splitlines()]
            faults.append(Fault(name, file, old, "".join(new), program or "tests", tests))
    return faults


def copy_tree():
    """Only what differs is copied, so that a second run builds little."""
    for folder, folders, files in os.walk(ROOT):
        if Path(folder) == ROOT:
            folders[:] = [name for name in folders if name not in ("build", "out", ".git")]
        target = TREE / Path(folder).relative_to(ROOT)
        target.mkdir(parents=True, exist_ok=True)
        for name in files:
            source, copy = Path(folder, name), target / name
            if not copy.exists() or not filecmp.cmp(source, copy, shallow=False):
                shutil.copy(source, copy)


def configure(build):
    flags = f"-O1 {BUILDS[build]}"
    command = ["cmake", "-G", "Ninja", "-S", TREE, "-B", SCRATCH / build, "-DCMAKE_BUILD_TYPE=None",
               f"-DCMAKE_CXX_FLAGS={flags}", "-DTKMJPG_BENCH=OFF"]
    if shutil.which("ccache"):
        command.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def compiles(program):
    build, target = PROGRAMS[program]
    done = subprocess.run(["ninja", "-C", SCRATCH / build, target], capture_output=True, text=True)
    return done.returncode == 0


def passes(program, tests):
    build, target = PROGRAMS[program]
    command = [SCRATCH / build / "tests" / target, f"--gtest_filter={tests}"]
    try:
        done = subprocess.run(command, capture_output=True, text=True, errors="replace",
                              timeout=SECONDS)
    except subprocess.TimeoutExpired:
        return False
    return done.returncode == 0 and "Running 0 tests" not in done.stdout


def plant(fault):
    """What becomes of the fault."""
    path = TREE / fault.file
    text = path.read_text()
    planted, count = fault.planted_in(text)
    if count != 1:
        return f"text found {count} times"
    path.write_text(planted)
    try:
        if not compiles(fault.program):
            return "does not compile"
        return "MISSED" if passes(fault.program, fault.tests) else "caught"
    finally:
        path.write_text(text)


def without_faults(faults):
    """The tests are worth nothing unless they pass as things are."""
    chosen = sorted({(fault.program, fault.tests) for fault in faults})
    for build in sorted({PROGRAMS[program][0] for program, _ in chosen}):
        configure(build)
    for program in sorted({program for program, _ in chosen}):
        if not compiles(program):
            sys.exit(f"plant_faults: {program}: does not compile without a fault")
    for program, tests in chosen:
        if not passes(program, tests):
            sys.exit(f"plant_faults: {program}: {tests} does not pass without a fault")


def main(names):
    faults = read_faults()
    unknown = [name for name in names if not any(fault.is_meant_by(name) for fault in faults)]
    if unknown:
        print(f"plant_faults: no such fault: {' '.join(unknown)}", file=sys.stderr)
        return 2
    chosen = [fault for fault in faults
              if not names or any(fault.is_meant_by(name) for name in names)]
    copy_tree()
    without_faults(chosen)
    caught = 0
    for fault in chosen:
        result = plant(fault)
        print(f"{result:18}  {fault.name}", flush=True)
        caught += result == "caught"
    print(f"{caught} of {len(chosen)} faults caught")
    return 0 if caught == len(chosen) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
