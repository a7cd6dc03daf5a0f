"""Fields and range of our own films, and overriding what is found."""
import json

import film as films
import jpeg_bytes
import writers
from programs import Wrong, ffmpeg, run
from own_command import coded, decoded, failed_with_one_line, succeeded


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


def first_image_overrides(command, folder):
    path = coded(command, folder, films.source(176, 144, 3, "t"))
    right = decoded(command, path, "--first-image", "top")
    other = decoded(command, path, "--first-image", "bottom")
    if films.psnr(right.with_lines_swapped(), other) < 99:
        raise Wrong("--first-image bottom does not put the fields in each other's place")
    if films.psnr(right, decoded(command, path, "--first-image", "auto")) < 99:
        raise Wrong("--first-image auto is not as top")


def range_overrides(command, folder):
    path = writers.by_ffmpeg()(folder, "full.avi", films.source(96, 64, 2, full=True))
    for wanted in ("limited", "full"):
        if decoded(command, path, "--range", wanted).full != (wanted == "full"):
            raise Wrong(f"Y4M is not marked as --range {wanted} says")


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


def comment_before_sof(command, folder):
    path = coded(command, folder, films.source(96, 64, 2, "t"))
    for frame in jpeg_bytes.avi_frames(path.read_bytes()):
        for image in jpeg_bytes.images_of(frame):
            found = [(marker, image[begin + 4:end]) for marker, begin, end
                     in jpeg_bytes.segments(image)]
            at = [i for i, (marker, body) in enumerate(found)
                  if marker == jpeg_bytes.COM and body.rstrip(b"\0") == b"CS=ITU601"]
            sof = [i for i, (marker, _) in enumerate(found) if marker == 0xC0]
            if not at or at[0] > sof[0]:
                raise Wrong("no comment CS=ITU601 before SOF0 in each image")


def old_option_is_gone(command, folder):
    source = films.write_y4m(films.source(96, 64, 2, "t"), folder / "in.y4m")
    done = run([command, "encode", source, folder / "film.avi", "--top-image-first"])
    failed_with_one_line(done, codes=(2,))


CASES = [
    ("fields/profiles-show-the-same-t", "1", profiles_show_the_same("t")),
    ("fields/profiles-show-the-same-b", "1", profiles_show_the_same("b")),
    ("fields/compare-players", "1", compare_lines_up("players")),
    ("fields/compare-driver", "1", compare_lines_up("driver")),
    ("fields/first-image-overrides", "1", first_image_overrides),
    ("fields/top-image-first-is-gone", "1", old_option_is_gone),
    ("range/overrides", "2", range_overrides),
    ("range/png-of-full", "2", png_levels(True)),
    ("range/png-of-limited", "2", png_levels(False)),
    ("range/comment-before-sof", "2", comment_before_sof),
]


def cases():
    yield from CASES
