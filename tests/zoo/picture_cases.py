"""Fields and range of our own films, and overriding what is found."""
import json

import film as films
import writers
from programs import Wrong, ffmpeg
from own_command import coded, succeeded


def profiles_show_the_same(order):
    def check(command, folder):
        """The order of the images is no part of the picture: AVI, PNG and checksums are equal."""
        source = films.source(176, 144, 3, order)
        shown = []
        for profile in ("players", "driver"):
            path = coded(command, folder, source, "--for", profile, name=f"{profile}.avi")
            succeeded(command, "decode", path, folder / f"{profile}_%04d.png", "--quiet")
            succeeded(command, "decode", path, folder / f"{profile}.raw", "--quiet")
            shown.append([succeeded(command, "md5", path).stdout.split()[0],
                          (folder / f"{profile}_0001.png").read_bytes(),
                          (folder / f"{profile}.raw").read_bytes()])
        for what, one, two in zip(("md5", "PNG", "raw frames"), *shown):
            if one != two:
                raise Wrong(f"{what}: the profiles differ")
    return check


def compare_lines_up(profile):
    def check(command, folder):
        source = films.source(176, 144, 5, "t")
        path = coded(command, folder, source, "--for", profile, "--quality", "95")
        found = json.loads(succeeded(command, "compare", folder / "film.avi.y4m", path,
                                     "--json").stdout)["summary"]
        if found["frames"] != source.frames or found["psnr"][0] < 38:
            raise Wrong(f"{found['frames']} frames, PSNR {found['psnr']}")
    return check


def png_levels(full):
    def check(command, folder):
        """A stream's luma of 16 and 235 is black and white, or in full range two greys."""
        source = films.source(64, 48, 2, kind="levels")
        if full:
            source.full = True
        path = writers.by_ffmpeg()(folder, "in.avi", source)
        succeeded(command, "decode", path, folder / "out_%04d.png", "--quiet")
        raw = ffmpeg("-i", folder / "out_0000.png", "-pix_fmt", "rgb24", "-f", "rawvideo", "-")
        black, white = raw[:3], raw[63 * 3:64 * 3]
        wanted = (16, 235) if full else (0, 255)
        if any(abs(value - wanted[0]) > 3 for value in black) or any(
                abs(value - wanted[1]) > 3 for value in white):
            raise Wrong(f"the dark half is {list(black)}, the other one {list(white)}")
    return check


CASES = [
    ("fields/profiles-show-the-same-t", "1", profiles_show_the_same("t")),
    ("fields/profiles-show-the-same-b", "1", profiles_show_the_same("b")),
    ("fields/compare-players", "1", compare_lines_up("players")),
    ("fields/compare-driver", "1", compare_lines_up("driver")),
    ("range/png-of-full", "2", png_levels(True)),
    ("range/png-of-limited", "2", png_levels(False)),
]


def cases():
    yield from CASES
