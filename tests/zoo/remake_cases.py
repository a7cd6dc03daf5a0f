"""Films that become films: `repair`, and `encode` from what is not raw video."""

import film as films
import writers
from decode_cases import nearer
from programs import Wrong, ffmpeg, ffmpeg_film, probe
from own_command import coded, decoded, succeeded


def repair_keeps(name, make, sampling="422", order="p", full=False, *arguments):
    def check(command, folder):
        """FFmpeg sees the same picture, or a better ordered one, and the same range."""
        source = films.source(176, 144, 5, order, sampling, full=full)
        path, out = make(folder, name, source), folder / "repaired.avi"
        succeeded(command, "repair", path, out, "--quiet", *arguments)
        if probe(out).range != probe(path).range:
            raise Wrong(f"FFmpeg says {probe(out).range} range, it was {probe(path).range}")
        before, after = ffmpeg_film(path), ffmpeg_film(out)
        if order != "p":
            before = nearer(before, source)
        if before.sampling != after.sampling:  # --recode makes 4:2:2 of all
            before, after = (each.as_sampling("mono") for each in (before, after))
        quality = films.psnr(before, after)
        if quality < (32 if arguments else 60):
            swapped = films.psnr(before, after.with_lines_swapped())
            raise Wrong(f"{quality:.1f} dB from what it was ({swapped:.1f} with lines swapped)")
        own = films.psnr(decoded(command, out), before.as_sampling("422")) if not arguments else 99
        if own < 45:
            raise Wrong(f"decoded: {own:.1f} dB from what it was")
        return f"{quality:.1f} dB"
    return check


def repair_own(order):
    def check(command, folder):
        source = films.source(176, 144, 4, order)
        path = coded(command, folder, source, "--quality", "95")
        succeeded(command, "repair", path, folder / "repaired.avi", "--quiet")
        if probe(folder / "repaired.avi").range != "tv":
            raise Wrong("FFmpeg says full range")
        quality = films.psnr(ffmpeg_film(folder / "repaired.avi").as_sampling("mono"),
                             source.as_sampling("mono"))
        if quality < 36 or decoded(command, folder / "repaired.avi").order != order:
            raise Wrong(f"{quality:.1f} dB in FFmpeg, "
                        f"I{decoded(command, folder / 'repaired.avi').order}")
    return check


def encode_from(name, make, least=34):
    def check(command, folder):
        source = films.source(176, 144, 4, sampling="422", full=False)
        path, out = make(folder, name, source), folder / "out.avi"
        succeeded(command, "encode", path, out, "--quality", "90", "--quiet")
        quality = films.psnr(ffmpeg_film(out).as_sampling("mono"), source.as_sampling("mono"))
        if ffmpeg_film(out).frames != source.frames or quality < least:
            raise Wrong(f"{ffmpeg_film(out).frames} frames, {quality:.1f} dB")
        return f"{quality:.1f} dB"
    return check


def raw_avi(pixels, *options):
    def make(folder, name, film):
        ffmpeg("-i", writers.y4m_of(folder, name, film), "-c:v", "rawvideo", "-pix_fmt", pixels,
               *options, folder / name)
        return folder / name
    return make


def pictures(suffix, *options):
    def make(folder, name, film):
        ffmpeg("-i", writers.y4m_of(folder, name, film), *options, "-start_number", "0",
               folder / f"p%04d.{suffix}")
        return folder / f"p%04d.{suffix}"
    return make


def order_survives(command, folder):
    """A film of the driver's form, coded once more for players."""
    source = films.source(176, 144, 4, "b")
    path = coded(command, folder, source, "--for", "driver", "--quality", "95")
    succeeded(command, "encode", path, folder / "out.avi", "--quality", "95", "--quiet")
    quality = films.psnr(ffmpeg_film(folder / "out.avi").as_sampling("mono"),
                         source.as_sampling("mono"))
    if quality < 36 or decoded(command, folder / "out.avi").order != "b":
        raise Wrong(f"{quality:.1f} dB, I{decoded(command, folder / 'out.avi').order}")


CASES = [
    ("repair/own-t", "1", repair_own("t")),
    ("repair/own-b", "1", repair_own("b")),
    ("repair/limited", "2", repair_keeps("in.avi", writers.by_ffmpeg())),
    ("repair/full", "2", repair_keeps("in.avi", writers.by_ffmpeg(), full=True)),
    ("repair/lav-t", "1", repair_keeps("in.avi", writers.by_mjpegtools(), "420", "t")),
    ("repair/lav-b", "1", repair_keeps("in.avi", writers.by_mjpegtools(), "420", "b")),
    ("repair/pairs-even", "1",
     repair_keeps("in.avi", writers.field_pairs(codes=(1, 2)), "422", "t")),
    ("repair/pairs-odd", "1",
     repair_keeps("in.avi", writers.field_pairs(False, (1, 2)), "422", "b")),
    ("repair/pairs-even-no-code", "1", repair_keeps("in.avi", writers.field_pairs(), "422", "t")),
    ("repair/whole-code-1", "1",
     repair_keeps("in.avi", writers.changed_by_hand(writers.with_code(1)))),
    ("repair/mov", "4", repair_keeps("in.mov", writers.by_ffmpeg())),
    ("repair/recode-420", "3",
     repair_keeps("in.avi", writers.by_ffmpeg(), "420", "p", True, "--recode")),
    ("encode-from/mjpeg.avi", "6", encode_from("in.avi", writers.by_ffmpeg())),
    ("encode-from/mjpeg-420.mov", "6", encode_from("in.mov", writers.by_ffmpeg(
        pixels="yuv420p"))),
    ("encode-from/mjpeg-full.avi", "6", encode_from("in.avi", writers.by_ffmpeg(
        pixels="yuvj422p"))),
    ("encode-from/yuy2.avi", "6", encode_from("in.avi", raw_avi("yuyv422"))),
    ("encode-from/pictures.jpg", "6", encode_from("", pictures("jpg", "-q:v", "2", "-pix_fmt",
                                                               "yuvj420p"))),
    ("encode-from/pictures.png", "6", encode_from("", pictures("png"))),
    ("encode-from/driver-to-players", "6", order_survives),
]


def cases():
    yield from CASES
