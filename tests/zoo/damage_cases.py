"""Damage is seen, and what cannot be is told: warnings, files that are no film."""
import random
import re

import film as films
import jpeg_bytes
import writers
from programs import Wrong, ffmpeg, last_line, run
from own_command import coded, decoded, failed_with_one_line, succeeded


def warns_of_assumed_rate(command, folder):
    path = writers.by_ffmpeg("-f", "mjpeg")(folder, "in.mjpg", films.source(96, 64, 2, full=True))
    said = succeeded(command, "decode", path, folder / "out.y4m").stderr.decode()
    if not re.search(r"warning.*\b25\b", said):
        raise Wrong(f"no warning that 25 frames a second are assumed: {said.strip()[:80]}")


def refused(name, make):
    def check(command, folder):
        path = folder / name
        make(path)
        done = run([command, "decode", path, folder / "out.y4m", "--quiet"])
        failed_with_one_line(done)
    return check


def programme_stream(path):
    """FFmpeg writes Motion-JPEG there and does not know it again."""
    source = films.write_y4m(films.source(96, 64, 5), path.with_suffix(".y4m"))
    ffmpeg("-i", source, "-c:v", "mjpeg", "-strict", "-1", "-f", "vob", path)


def damaged_film(command, folder, spoil):
    """A film of 60 frames, and one whose frames are spoiled."""
    path = coded(command, folder, films.source(352, 288, 60), "--quality", "75")
    data = bytearray(path.read_bytes())
    spoil(data, list(jpeg_bytes.avi_chunks(data)))
    (folder / "damaged.avi").write_bytes(data)
    return path, folder / "damaged.avi"


def flip_bits(data, chunks):
    chance = random.Random(20261123)
    for _ in range(60):
        data[chance.randrange(*chance.choice(chunks))] ^= 1 << chance.randrange(8)


def zero_run(data, chunks):
    middle = sum(chunks[30]) // 2
    data[middle:middle + 200] = bytes(200)


def frames_named(text):
    """Numbers of frames, as '7', '7, 9' or '7 to 9'."""
    named = set()
    for group in re.findall(r"frames? ((?:\d+(?: to |, | and |-)?)+)", text):
        for first, last in re.findall(r"(\d+)(?:(?: to |-)(\d+))?", group):
            named.update(range(int(first), int(last or first) + 1))
    return named


def damage_is_reported(spoil):
    def check(command, folder):
        path, damaged = damaged_film(command, folder, spoil)
        good = decoded(command, path)
        out = folder / "damaged.y4m"
        done = run([command, "decode", damaged, out])
        if done.returncode != 3:
            raise Wrong(f"decode: exit code {done.returncode}: {last_line(done.stderr)}")
        shown = films.read_y4m(out.read_bytes())
        if shown.frames != good.frames:
            raise Wrong(f"{shown.frames} frames instead of {good.frames}")
        quality = [films.psnr(shown.part([i]), good.part([i])) for i in range(good.frames)]
        bad = {i for i, value in enumerate(quality) if value < 25}
        info = run([command, "info", damaged, "--frames"]).stdout.decode()
        named = frames_named(done.stderr.decode()) | frames_named(info)
        missed, invented = bad - named, {i for i in named if quality[i] == float("inf")}
        # A flipped bit may leave a stream that is right in itself.
        if len(missed) > 0.13 * len(bad) or invented or not bad:
            raise Wrong(f"{len(bad)} frames below 25 dB, of them not named {sorted(missed)}; "
                        f"named without damage {sorted(invented)}")
        return f"{len(bad)} frames below 25 dB, {len(named)} named"
    return check


def info_counts_repeats(command, folder):
    path = writers.with_gaps(folder, "in.avi", films.source(176, 144, 6, full=True))
    said = succeeded(command, "info", path).stdout.decode()
    if not re.search(r"\b2\b[^\n]*(empty|repeat)", said):
        raise Wrong("info does not say that 2 frames repeat the one before")


CASES = [
    ("warning/assumed-rate", "10", warns_of_assumed_rate),
    ("refused/programme-stream.mpg", "4", refused("in.mpg", programme_stream)),
    ("damage/info-repeats", "9", info_counts_repeats),
    ("damage/60-flipped-bits", "7", damage_is_reported(flip_bits)),
    ("damage/200-zero-bytes", "7", damage_is_reported(zero_run)),
]


def cases():
    yield from CASES
