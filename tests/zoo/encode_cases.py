"""What `encode` writes, as other programs and our own `decode` show it: each profile, order of
fields, range and container, also after FFmpeg has copied the stream into another container."""
from dataclasses import dataclass
from fractions import Fraction

import film as films
import jpeg_bytes
from decode_cases import nearer
from programs import Wrong, ffmpeg, ffmpeg_film, gstreamer, gstreamer_film, last_line, probe, run

LEAST = 38.0  # dB from the source at quality 95; fields in each other's place are below 30


@dataclass
class Row:
    name: str
    order: str
    arguments: str              # of encode
    container: str = "avi"      # where FFmpeg copies it to, unless AVI or .mjpg
    range: str = "limited"      # of the stream
    players: bool = True        # every player shows it right
    input_range: str = "limited"
    size: tuple = (176, 144)
    sampling: str = "422"
    point: str = "1"


def rows():
    for order in "ptb":
        yield Row(f"default-{order}.avi", order, "")
        yield Row(f"players-{order}.mov", order, "--for players", "mov")
        yield Row(f"players-{order}.mkv", order, "--for players", "mkv")
        yield Row(f"players-{order}.mp4", order, "--for players", "mp4")
        yield Row(f"players-{order}-full.avi", order, "--for players --range full", range="full",
                  point="2")
        yield Row(f"full-{order}.mkv", order, "--range full", "mkv", range="full", point="2")
        yield Row(f"driver-{order}.avi", order, "--for driver", players=False)
        yield Row(f"driver-{order}.mkv", order, "--for driver", "mkv", players=False)
    yield Row("from-full.avi", "t", "", input_range="full", point="2")
    yield Row("from-full-to-full.avi", "t", "--range full", range="full", input_range="full",
              point="2")
    yield Row("from-420.avi", "t", "", sampling="420")
    yield Row("no-tables.avi", "b", "--no-huffman-tables")
    for mode in (1, 2, 3, 5, 7):
        yield Row(f"mode-{mode}.avi", "t", f"--mode {mode}")
    for lines in (1080, 362, 150, 24):
        yield Row(f"lines-{lines}.avi", "t", "", size=(64, lines),
                  point="9")
    yield Row("lines-362-p.avi", "p", "", size=(64, 362), point="9")
    yield Row("raw-default.mjpg", "t", "", "mjpg")
    yield Row("raw-driver.mjpg", "b", "--for driver", "mjpg")


def encoded(row, command, folder):
    source = films.source(*row.size, frames=5, order=row.order, sampling=row.sampling,
                          rate=Fraction(30000, 1001), full=row.input_range == "full")
    first = folder / ("film.mjpg" if row.container == "mjpg" else "film.avi")
    done = run([command, "encode", films.write_y4m(source, folder / "in.y4m"), first, "--quality",
                "95", "--quiet", *row.arguments.split()])
    if done.returncode != 0:
        raise Wrong(f"encode: exit code {done.returncode}: {last_line(done.stderr)}")
    if row.container in ("avi", "mjpg"):
        return source, first
    path = folder / f"film.{row.container}"
    ffmpeg("-i", first, "-c", "copy", path)
    return source, path


def luma_quality(found, source):
    return films.psnr(found.as_sampling("mono"), source.as_sampling("mono"))


def check_player(who, found, source, wrong):
    if found.frames != source.frames:
        wrong.append(f"{who}: {found.frames} frames instead of {source.frames}")
        return
    if found.size != source.size:
        wrong.append(f"{who}: {found.size[0]}x{found.size[1]}")
        found = found.cropped(*source.size)
    quality = luma_quality(found, source)
    if quality < LEAST:
        other = luma_quality(found.with_lines_swapped(), source)
        hint = " with fields in each other's place" if other >= LEAST else ""
        wrong.append(f"{who}: {quality:.1f} dB{hint}")


def players(row, path):
    yield "FFmpeg", ffmpeg_film(path)
    # FFmpeg's decoder pads what GStreamer shows to whole MCUs, and jpegdec each line to 4 bytes.
    if row.container in ("avi", "mov", "mkv") and row.size[0] % 16 == row.size[1] % 16 == 0:
        yield "avdec_mjpeg", gstreamer_film(path, "avdec_mjpeg", *row.size, "422")
        yield "jpegdec", gstreamer_film(path, "jpegdec", *row.size)


def check_driver_form(row, path):
    """Two images with code 1, then code 2, or one without a code; no comment."""
    for frame in jpeg_bytes.avi_frames(path.read_bytes()):
        codes = []
        for image in jpeg_bytes.images_of(frame):
            for marker, begin, end in jpeg_bytes.segments(image):
                if marker == jpeg_bytes.COM:
                    raise Wrong("there is a comment in the stream")
                if marker == jpeg_bytes.APP0 and image[begin + 4:begin + 8] == b"AVI1":
                    codes.append(image[begin + 8])
        if codes != ([0] if row.order == "p" else [1, 2]):
            raise Wrong(f"field codes {codes}")


def check_own(row, path, command, folder, source, wrong):
    out = folder / "own.y4m"
    done = run([command, "decode", path, out, "--quiet"])
    if done.returncode != 0:
        wrong.append(f"decode: exit code {done.returncode}: {last_line(done.stderr)}")
        return
    got = films.read_y4m(out.read_bytes())
    check_player("decode", got, source, wrong)
    if got.full != (row.range == "full"):
        wrong.append(f"decode marks {'full' if got.full else 'limited'} range")
    if got.order != row.order and (row.container == "avi" or got.order == "p" or row.order == "p"):
        wrong.append(f"decode says I{got.order} instead of I{row.order}")
    if got.rate != source.rate and row.container != "mjpg":
        wrong.append(f"decode says {got.rate} frames a second")


def check(row, command, folder):
    source, path = encoded(row, command, folder)
    wanted = films.in_range(source, row.range == "full")
    wrong = []
    if row.container != "mjpg":
        said = probe(path).range
        if row.players and said != ("pc" if row.range == "full" else "tv"):
            wrong.append(f"FFmpeg says range {said}")
        if row.players:
            for who, found in players(row, path):
                check_player(who, found, wanted, wrong)
        if not row.players and row.container == "avi":
            check_driver_form(row, path)
            # The format header of the classic form misleads FFmpeg about the lines.
            found = nearer(ffmpeg_film(path), wanted) if row.order != "p" else ffmpeg_film(path)
            check_player("FFmpeg", found, wanted, wrong)
    check_own(row, path, command, folder, wanted, wrong)
    if wrong:
        raise Wrong("; ".join(wrong))


def check_levels(command, folder, arguments, player):
    """White and black have to come out as 255 and 0."""
    source = films.source(64, 48, frames=2, kind="levels")
    path = folder / "film.avi"
    done = run([command, "encode", films.write_y4m(source, folder / "in.y4m"), path, "--quiet",
                *arguments])
    if done.returncode != 0:
        raise Wrong(f"encode: exit code {done.returncode}: {last_line(done.stderr)}")
    if player == "FFmpeg":
        raw = ffmpeg("-i", path, "-pix_fmt", "rgb24", "-f", "rawvideo", "-")
    else:
        raw = gstreamer("filesrc", f"location={path}", "!", "avidemux", "!", player, "!",
                        "videoconvert", "!", "video/x-raw,format=RGB", "!", "filesink",
                        "location=/dev/stdout")
    black, white = raw[:3], raw[63 * 3:64 * 3]
    if max(black) > 3 or min(white) < 252:
        raise Wrong(f"black is {list(black)}, white {list(white)}")
    return f"{list(black)}, {list(white)}"


LEVELS = [("FFmpeg", []), ("avdec_mjpeg", []), ("FFmpeg", ["--range", "full"]),
          ("jpegdec", ["--range", "full"]), ("avdec_mjpeg", ["--range", "full"])]


def cases():
    for row in rows():
        yield (f"encode/{row.name}", row.point,
               lambda command, folder, row=row: check(row, command, folder))
    for player, arguments in LEVELS:
        yield (f"levels/{'full' if arguments else 'default'}-in-{player}", "2",
               lambda command, folder, player=player, arguments=arguments:
               check_levels(command, folder, arguments, player))
