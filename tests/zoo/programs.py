"""The programs that write and read films here: the command, FFmpeg, GStreamer."""
import json
import subprocess
from dataclasses import dataclass
from fractions import Fraction

import film

SECONDS = 60  # a program that takes longer hangs


class Wrong(Exception):
    """What a case finds wrong, in one line."""


class Missing(Exception):
    """A program that the zoo needs cannot do its part, which is no fault of the command."""


def run(arguments, data=None, **options):
    return subprocess.run([str(word) for word in arguments], input=data, capture_output=True,
                          timeout=SECONDS, **options)


def made(arguments, data=None):
    """Of a program that makes what a case needs: its standard output."""
    done = run(arguments, data)
    if done.returncode != 0:
        raise Missing(f"{arguments[0]}: {last_line(done.stderr)}")
    return done.stdout


def last_line(text):
    lines = text.decode(errors="replace").strip().splitlines()
    return lines[-1] if lines else "(no message)"


def ffmpeg(*arguments, data=None):
    return made(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments] if data is None else
                ["ffmpeg", "-v", "error", "-y", *arguments], data)


@dataclass
class Probe:
    pixels: str
    width: int
    height: int
    rate: Fraction
    range: str
    start: float


def probe(path, kind="v"):
    """What FFmpeg says of the first video or sound stream."""
    out = made(["ffprobe", "-v", "error", "-select_streams", kind, "-of", "json",
                "-show_streams", path])
    streams = json.loads(out).get("streams")
    if not streams:
        raise Wrong(f"{path.name}: FFmpeg finds no stream of kind {kind}")
    stream = streams[0]
    rate = stream.get("r_frame_rate", "0/0")
    return Probe(stream.get("pix_fmt", ""), stream.get("width", 0), stream.get("height", 0),
                 Fraction(rate) if rate != "0/0" else Fraction(0), stream.get("color_range", ""),
                 float(stream.get("start_time") or 0))


FORMATS = {f"yuv{j}{name}p": name for name in ("420", "422", "444", "411", "440", "410")
           for j in ("", "j")} | {"gray": "mono"}


def ffmpeg_film(path):
    """The film as FFmpeg decodes it, samples as they are in the stream."""
    found = probe(path)
    pixels = found.pixels
    raw = ffmpeg("-flags", "bitexact", "-i", path, "-map", "0:v:0", "-vsync", "passthrough", "-f",
                 "rawvideo", "-pix_fmt", pixels, "-")
    if pixels == "gbrp":
        green, blue, red = film.unpacked(raw, "444", found.width, found.height)
        return film.from_rgb([red, green, blue])
    if pixels not in FORMATS:
        raise Wrong(f"{path.name}: FFmpeg decodes to {pixels}")
    planes = film.unpacked(raw, FORMATS[pixels], found.width, found.height)
    return film.Film(planes, FORMATS[pixels], found.rate, full=found.range == "pc",
                     tags={"range": found.range})


DEMUXERS = {".avi": ["avidemux"], ".mov": ["qtdemux"], ".mp4": ["qtdemux"],
            # avdec_mjpeg wants what jpegparse says, which would take field pairs apart.
            ".mkv": ["matroskademux", "!", "capssetter", "caps=image/jpeg,parsed=true"]}


def gstreamer_film(path, decoder, width, height, sampling="420"):
    """The film as one of GStreamer's decoders gives it; jpegdec makes 4:2:0 of 4:2:2. Its lines are
    not padded if the width is a multiple of eight."""
    raw = gstreamer("filesrc", f"location={path}", "!", *DEMUXERS[path.suffix], "!", decoder, "!",
                    "filesink", "location=/dev/stdout")
    return film.Film(film.unpacked(raw, sampling, width, height), sampling)


def gstreamer(*arguments):
    return made(["gst-launch-1.0", "-q", *arguments])
