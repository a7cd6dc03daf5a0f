#!/usr/bin/env python3
"""The form of the Job for Kubernetes, and what its pods would run. There is no cluster here.

usage: kubernetes_test.py COMMAND
"""
import os
import pathlib
import subprocess
import sys
import tempfile

import yaml

RECIPES = pathlib.Path(__file__).resolve().parents[2] / "scripts/cluster"


def check_form(job):
    parts = job["spec"]  # as the platform names it
    pod = parts["template"]["spec"]
    container = pod["containers"][0]
    mounted = {mount["name"] for mount in container["volumeMounts"]}
    rules = {
        "an indexed Job": (job["apiVersion"], job["kind"], parts["completionMode"])
        == ("batch/v1", "Job", "Indexed"),
        "as many pods as parts": parts["completions"] >= parts["parallelism"] >= 1,
        "pods that start again": pod["restartPolicy"] in ("OnFailure", "Never")
        and parts["backoffLimit"] > 0,
        "volumes that exist": mounted == {volume["name"] for volume in pod["volumes"]},
        "a folder on a volume": container["workingDir"]
        in {mount["mountPath"] for mount in container["volumeMounts"]},
        "words as text": all(isinstance(w, str) for w in container["command"] + container["args"]),
    }
    broken = [name for name, holds in rules.items() if not holds]
    if broken:
        sys.exit(f"kubernetes.yaml has not: {broken}")
    return container["command"] + container["args"], container["workingDir"]


def run_a_pod(words, folder, command):
    """Line 2 of a plan, as the pod with the index 1 would code it."""
    with tempfile.TemporaryDirectory() as work:
        subprocess.run(
            [command, "encode", "-q", "testcard:48x32@25:20", "card.avi"], cwd=work, check=True
        )
        subprocess.run([command, "decode", "-q", "card.avi", "film.y4m"], cwd=work, check=True)
        pathlib.Path(work, "plan").write_text("0:9\tpart_0.avi\n10:19\tpart_1.avi\n")
        pathlib.Path(work, "cluster").symlink_to(RECIPES)
        environment = {**os.environ, "JOB_COMPLETION_INDEX": "1", "TKMJPG": command}
        line = [word.replace(folder + "/", work + "/") for word in words]
        subprocess.run(line, cwd=work, env=environment, check=True)
        if sorted(path.name for path in pathlib.Path(work).glob("part*")) != [
            "part_1.avi",
            "part_1.avi.json",
        ]:
            sys.exit("the pod with index 1 does not code line 2 of the plan")


def main():
    command = str(pathlib.Path(sys.argv[1]).resolve())
    job = yaml.safe_load((RECIPES / "kubernetes.yaml").read_text())
    run_a_pod(*check_form(job), command)
    print("Kubernetes: the form of the Job")


main()
