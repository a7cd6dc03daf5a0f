"""Nothing is lost: full disks, signals, producers that die."""
import os
import resource
import signal
import subprocess
import time

import film as films
from programs import SECONDS, Wrong, ffmpeg_film, last_line, run
from own_command import failed_with_one_line


def whole_film(path, least, source=None):
    """FFmpeg reads it without a word, and it holds at least so many frames."""
    if not path.exists():
        raise Wrong(f"no file {path.name}; there are {sorted(os.listdir(path.parent))}")
    # It guesses images back to back, and says so.
    form = ["-f", "mjpeg"] if path.suffix == ".mjpg" else []
    done = run(["ffmpeg", "-nostdin", "-v", "warning", *form, "-i", path, "-f", "null", "-"])
    if done.stderr or done.returncode:
        raise Wrong(f"FFmpeg on {path.name}: {last_line(done.stderr)}")
    found = ffmpeg_film(path)
    if found.frames < least:
        raise Wrong(f"{found.frames} frames instead of at least {least}")
    if source and films.psnr(found.as_sampling("mono"),
                             source.part(slice(found.frames)).as_sampling("mono")) < 30:
        raise Wrong("wrong frames")
    return found.frames


def full_disk(*arguments, limit=400_000, name="film.avi", least=10):
    def check(command, folder):
        """A file may not grow beyond a limit: to a program that is a full disk."""
        def keep_small():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
        source = films.source(176, 144, 200)
        path = films.write_y4m(source, folder / "in.y4m")
        done = run([command, "encode", path, folder / name, "--quiet", "--quality", "90",
                    *arguments], preexec_fn=keep_small)
        failed_with_one_line(done)
        return f"{whole_film(folder / name, least, source)} frames"
    return check


def recording(command, path, source, frames, then, codes):
    """A producer writes some frames into a pipe; `then` comes before the next one."""
    data = films.write_y4m(source, path.with_suffix(".in.y4m")).read_bytes()
    head = data.index(b"\n") + 1
    size = (len(data) - head) // source.frames
    with subprocess.Popen([str(command), "encode", "-", str(path), "--quiet"],
                          stdin=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        process.stdin.write(data[:head + int(frames * size)])
        process.stdin.flush()
        begin = time.monotonic()
        then(process)
        try:
            _, said = process.communicate(timeout=SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            raise Wrong("hangs") from None
        if time.monotonic() - begin > 20:
            raise Wrong("takes over 20 s")
    done = subprocess.CompletedProcess([], process.returncode, b"", said)
    if codes is not None:
        failed_with_one_line(done, codes)
    return done


def signalled(number, code):
    def check(command, folder):
        def then(process):
            time.sleep(0.7)
            process.send_signal(number)
            # The pipe stays open: the producer knows nothing of it.
            try:
                process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                raise Wrong("goes on waiting for the producer") from None
        source = films.source(176, 144, 200)
        recording(command, folder / "film.avi", source, 150, then, (code,))
        return f"{whole_film(folder / 'film.avi', 100, source)} frames"
    return check


def dead_producer(command, folder):
    source = films.source(176, 144, 20)
    recording(command, folder / "film.avi", source, 10.5, lambda process: None, (1,))
    if whole_film(folder / "film.avi", 10, source) != 10:
        raise Wrong("more than the 10 whole frames")


def killed(command, folder):
    source = films.source(176, 144, 200)

    def then(process):
        time.sleep(1.0)
        process.kill()
    recording(command, folder / "film.avi", source, 150, then, None)
    parts = [path for path in folder.iterdir() if ".part" in path.name]
    if len(parts) != 1 or (folder / "film.avi").exists():
        raise Wrong(f"left: {sorted(path.name for path in folder.iterdir())}")
    done = run([command, "repair", parts[0], folder / "repaired.avi", "--quiet"])
    if done.returncode not in (0, 3):
        raise Wrong(f"repair: exit code {done.returncode}: {last_line(done.stderr)}")
    return f"{whole_film(folder / 'repaired.avi', 50, source)} frames"


CASES = [
    ("lost/full-disk.avi", "8", full_disk()),
    ("lost/full-disk-keep-going.avi", "8", full_disk("--keep-going")),
    ("lost/full-disk.mjpg", "8", full_disk(name="film.mjpg")),
    ("lost/dead-producer", "8", dead_producer),
    ("lost/sigint", "8", signalled(signal.SIGINT, 130)),
    ("lost/sigterm", "8", signalled(signal.SIGTERM, 143)),
    ("lost/sighup", "8", signalled(signal.SIGHUP, 129)),
    ("lost/kill-9", "8", killed),
]


def cases():
    yield from CASES
