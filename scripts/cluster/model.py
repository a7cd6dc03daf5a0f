#!/usr/bin/env python3
"""How a film in parts scales with the cores of a cluster: the queue, simulated.

Each core takes the next part when it has done one. A part costs a start, the time of its frames on
a core, and what it reads and writes over one link that all cores share; reading, coding and writing
of a part go on at once, so it lasts as long as the slowest of them. When all parts are done, one
process joins them. Nothing here is measured but what --measure measures; the rest is what it is
told.

usage: model.py --frames 45000 --parts 60 --cores 1,2,16,256 FIGURES
       model.py --measure tkmjpg --frames ...
"""
import argparse
import heapq
import os
import pathlib
import subprocess
import tempfile
import time


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--frames", type=int, required=True, help="of the film")
    parser.add_argument("--parts", type=int, required=True)
    parser.add_argument("--cores", default="1,2,16,64,256")
    parser.add_argument("--ms-a-frame", type=float, help="to code one on one core")
    parser.add_argument("--start", type=float, help="seconds until a job codes its first frame")
    parser.add_argument("--bytes-in", type=float, help="that a frame has in the input")
    parser.add_argument("--bytes-out", type=float, help="and in the output")
    parser.add_argument("--read", type=float, required=True, help="MB/s that all cores share")
    parser.add_argument("--write", type=float, required=True, help="MB/s that all cores share")
    parser.add_argument("--join", type=float, help="MB/s of the joining")
    parser.add_argument("--measure", metavar="TKMJPG", help="measure what is not given, here")
    parser.add_argument("--input", default="testcard:1920x1080@25:100", help="for --measure")
    return parser.parse_args()


def seconds(*command):
    begin = time.monotonic()
    subprocess.run(command, check=True)
    return time.monotonic() - begin


def measured(tkmjpg, film):
    """The figures of this machine, on one core, from files in memory where there are such."""
    shared = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with tempfile.TemporaryDirectory(dir=shared) as folder:
        source, part = os.path.join(folder, "in.avi"), os.path.join(folder, "out.avi")
        whole, count = os.path.join(folder, "whole.avi"), 100
        subprocess.run([tkmjpg, "encode", "-q", film, source], check=True)
        code = [tkmjpg, "encode", "-qf", source, part, "--threads", "1", "--frames"]
        one = min(seconds(*code, "0:0") for _ in range(5))
        all_frames = min(seconds(*code, f"0:{count - 1}") for _ in range(3))
        joining = min(seconds(tkmjpg, "join", "-qf", part, whole) for _ in range(3))
        figures = {
            "ms_a_frame": (all_frames - one) / (count - 1) * 1000,
            "start": one,
            "bytes_in": pathlib.Path(source).stat().st_size / count,
            "bytes_out": pathlib.Path(part).stat().st_size / count,
            "join": pathlib.Path(part).stat().st_size / joining / 1e6,
        }
    return figures


class Link:
    """Bytes go over it one request after the other; a core waits for its own."""

    def __init__(self, megabytes_a_second):
        self.rate = megabytes_a_second * 1e6
        self.free = 0.0

    def carry(self, begin, count):
        self.free = max(self.free, begin) + count / self.rate
        return self.free


def simulate(cores, film):
    """Seconds until all parts are done, and what the last part waited for longest."""
    reading, writing = Link(film.read), Link(film.write)
    each, more = divmod(film.frames, film.parts)
    idle = [0.0] * min(cores, film.parts)
    waits = {"coding": 0.0, "reading": 0.0, "writing": 0.0}
    done = 0.0
    for part in range(film.parts):
        frames = each + (part < more)
        begin = heapq.heappop(idle) + film.start
        ends = {
            "coding": begin + frames * film.ms_a_frame / 1000,
            "reading": reading.carry(begin, frames * film.bytes_in),
            "writing": writing.carry(begin, frames * film.bytes_out),
        }
        slowest = max(ends, key=ends.get)
        waits[slowest] += ends[slowest] - begin
        heapq.heappush(idle, ends[slowest])
        done = max(done, ends[slowest])
    return done, max(waits, key=waits.get)


def limit(cores, film, coding, waited):
    """What one would have to change first."""
    joining = film.frames * film.bytes_out / film.join / 1e6
    if waited != "coding":
        return f"{waited} over the shared link"
    if joining > coding:
        return "joining, which one process does"
    if cores > film.parts:
        return f"parts: {film.parts} for {cores} cores"
    rounds = -(-film.parts // cores)
    if rounds * cores / film.parts > 1.1:
        return f"the last round: {film.parts} parts in {rounds} rounds"
    if film.start > 0.1 * film.frames / film.parts * film.ms_a_frame / 1000:
        return "the start of each job"
    return "cores"


def main():
    film = arguments()
    names = ["ms_a_frame", "start", "bytes_in", "bytes_out", "join"]
    missing = [name for name in names if getattr(film, name) is None]
    if missing and not film.measure:
        raise SystemExit("model.py: not given, and no --measure: " + ", ".join(missing))
    if missing:
        figures = measured(film.measure, film.input)
        for name in missing:
            setattr(film, name, figures[name])
            print(f"measured here: {name} {figures[name]:.4g}")
    for name in [*names, "read", "write"]:
        if name not in missing:
            print(f"given: {name} {getattr(film, name):.4g}")
    joining = film.frames * film.bytes_out / film.join / 1e6
    alone = film.frames * film.ms_a_frame / 1000
    print(f"{'cores':>6} {'coding s':>9} {'join s':>7} {'speed-up':>8}  what stops it")
    for cores in (int(word) for word in film.cores.split(",")):
        coding, waited = simulate(cores, film)
        speed_up = alone / (coding + joining)
        print(
            f"{cores:6} {coding:9.1f} {joining:7.1f} {speed_up:8.1f}  "
            + limit(cores, film, coding, waited)
        )


main()
