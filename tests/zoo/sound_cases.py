"""Sound goes along: the same bytes, in step, through every way from film to film."""
import hashlib
import json
import re
import wave
from dataclasses import dataclass
from fractions import Fraction

import film as films
import writers
from programs import Wrong, ffmpeg, gstreamer, last_line, made, probe, run

FRAMES, RATE = 75, Fraction(25)
SINE = ["-f", "lavfi", "-t", "3", "-i", "aevalsrc='sin(500*t*t)|cos(900*t)':s={rate}"]


@dataclass
class Row:
    name: str
    codec: str
    said: str               # by info
    rate: int = 48000
    options: tuple = ()


FILMS = [
    Row("pcm.avi", "pcm_s16le", "PCM, 48000 Hz, 2 channels, 16 bits"),
    Row("pcm-44100.avi", "pcm_s16le", "PCM, 44100 Hz, 2 channels, 16 bits", 44100),
    Row("pcm-24-bits.avi", "pcm_s24le", "PCM, 48000 Hz, 2 channels, 24 bits"),
    Row("pcm-8-bits.avi", "pcm_u8", "PCM, 11025 Hz, 1 channel, 8 bits", 11025, ("-ac", "1")),
    Row("mu-law.avi", "pcm_mulaw", "mu-law, 48000 Hz, 2 channels, 8 bits"),
    Row("adpcm.avi", "adpcm_ms", "ADPCM, 48000 Hz, 2 channels"),
    Row("mp3.avi", "libmp3lame", "MP3, 48000 Hz, 2 channels, about 128 kbit/s",
        options=("-b:a", "128k")),
    Row("mp3-vbr.avi", "libmp3lame", "MP3, 44100 Hz, 2 channels", 44100, ("-q:a", "4")),
    Row("ac3.avi", "ac3", "AC-3, 48000 Hz, 2 channels, about 192 kbit/s"),
    Row("aac.avi", "aac", "AAC, 48000 Hz, 2 channels"),
    Row("pcm.mov", "pcm_s16le", "PCM, 48000 Hz, 2 channels, 16 bits"),
    Row("ac3.mkv", "ac3", "AC-3, 48000 Hz, 2 channels"),
    Row("mp3.mkv", "libmp3lame", "MP3, 48000 Hz, 2 channels"),
]


def film_with_sound(row, folder):
    path = folder / row.name
    source = films.write_y4m(films.source(96, 64, FRAMES, rate=RATE, full=True),
                             folder / "in.y4m")
    sine = [word.format(rate=row.rate) for word in SINE]
    ffmpeg("-i", source, *sine, "-c:v", "mjpeg", "-q:v", "3", "-pix_fmt", "yuvj422p", "-c:a",
           row.codec, *row.options, path)
    return path


def sound_bytes(path):
    return ffmpeg("-i", path, "-map", "0:a:0", "-c", "copy", "-f", "data", "-")


def sound_md5(path):
    return hashlib.md5(sound_bytes(path)).hexdigest()


# Matroska says to the sample how much a decoder of compressed sound has to drop at the start. AVI
# has whole packets: those before the picture are left out, and the rest is in step to half a one.
HALF_PACKET = 0.016  # seconds, of AC-3
PRIMING = 2000  # bytes: one packet, or a little more


def packets(path):
    out = made(["ffprobe", "-v", "error", "-of", "json", "-show_entries",
                "packet=codec_type,pts_time,dts_time,pos,size", path])
    for packet in json.loads(out)["packets"]:
        at = packet.get("pts_time", packet.get("dts_time"))
        yield packet["codec_type"], float(at), int(packet.get("pos", 0)), int(packet["size"])


def check_in_step(path, original, slack=0.0015):  # MKV has milliseconds
    """The sound begins and ends at the time where it did, seen from the picture."""
    def step(film):
        times = {kind: [at for what, at, _, _ in packets(film) if what == kind]
                 for kind in ("video", "audio")}
        sound = times["audio"][0 if slack < HALF_PACKET else -1]
        return sound - times["video"][0], times["video"][-1] - times["video"][0]
    (offset, length), (old_offset, old_length) = step(path), step(original)
    if abs(offset - old_offset) > slack:
        raise Wrong(f"sound is {1000 * (offset - old_offset):.1f} ms late")
    if abs(length - old_length) > 0.0015:
        raise Wrong(f"{length:.3f} s of pictures instead of {old_length:.3f} s")


def check_interleaved(path):
    """Sound lies near its pictures, or players have to jump in the file."""
    reached = 0.0
    for kind, at, _, _ in sorted(packets(path), key=lambda packet: packet[2]):
        if kind == "audio":
            reached = max(reached, at)
        elif at - reached > 1.0:
            raise Wrong(f"at {at:.2f} s of pictures the file has sound up to {reached:.2f} s")


def done_by(command, *arguments):
    done = run([command, *arguments])
    if done.returncode != 0:
        raise Wrong(f"{arguments[0]}: exit code {done.returncode}: {last_line(done.stderr)}")
    return done


def through(row, way, command, folder):
    path = film_with_sound(row, folder)
    out = folder / "out.avi"
    if f"sound     {row.said}" not in done_by(command, "info", path).stdout.decode():
        raise Wrong(f"info does not say {row.said}")
    done_by(command, way, path, out, "--quiet")
    if not any(kind == "audio" for kind, *_ in packets(out)):
        raise Wrong("no sound in the output")
    sound, original = sound_bytes(out), sound_bytes(path)
    missing = len(original) - len(sound)
    if not original.endswith(sound) or missing > (PRIMING if row.name.endswith(".mkv") else 0):
        raise Wrong("the bytes of the sound differ")
    check_in_step(out, path, *([HALF_PACKET] if row.name.endswith(".mkv") else []))
    check_interleaved(out)


def wav_file(folder):
    path = folder / "in.wav"
    ffmpeg(*[word.format(rate=48000) for word in SINE], "-bitexact", path)
    return path


def samples(path):
    with wave.open(str(path)) as sound:
        return sound.getparams()[:3], sound.readframes(sound.getnframes())


def wav_in_and_out(command, folder):
    source = films.write_y4m(films.source(96, 64, FRAMES), folder / "in.y4m")
    sound, film, out = wav_file(folder), folder / "film.avi", folder / "out.wav"
    done_by(command, "encode", source, film, "--sound", sound, "--quiet")
    ffmpeg("-i", film, "-map", "0:a:0", "-c", "copy", "-bitexact", folder / "ffmpeg.wav")
    if samples(folder / "ffmpeg.wav") != samples(sound):
        raise Wrong("FFmpeg finds other samples in the film")
    check_interleaved(film)
    done_by(command, "decode", film, folder / "out.y4m", "--sound", out, "--quiet")
    if samples(out) != samples(sound):
        raise Wrong("decode --sound writes other samples")


def through_other_writers(make, name, command, folder):
    """Films whose sound GStreamer or mjpegtools have interleaved."""
    film = make(folder, name, films.source(96, 64, 25, "t", "420"))
    for way in ("repair", "decode"):
        out = folder / f"{way}.avi"
        done_by(command, way, film, out, "--quiet")
        if probe(out, "a").start != 0:
            raise Wrong(f"{way}: sound begins at {probe(out, 'a').start} s")
        if sound_md5(out) != sound_md5(film):
            raise Wrong(f"{way}: the bytes of the sound differ")


def by_gstreamer(folder, name, film):
    raw = folder / "in.raw"
    width, height = film.size
    raw.write_bytes(b"".join(plane[frame].tobytes() for frame in range(film.frames)
                             for plane in film.as_sampling("420").planes))
    gstreamer("avimux", "name=film", "!", "filesink", f"location={folder / name}",
              "audiotestsrc", "num-buffers=43", "!",
              "audio/x-raw,rate=44100,channels=1,format=S16LE", "!", "film.",
              "filesrc", f"location={raw}", "!", "rawvideoparse", f"width={width}",
              f"height={height}", "framerate=25/1", "format=i420", "!",
              "videoconvert", "!", "video/x-raw,format=Y42B", "!", "jpegenc", "!", "film.")
    return folder / name


def told_when_lost(command, folder):
    """An output that cannot have sound: a line says that it is not kept."""
    film = film_with_sound(FILMS[0], folder)
    done = done_by(command, "repair", film, folder / "out.mjpg")
    if not re.search(r"\b(sound|audio)\b", (done.stdout + done.stderr).decode()):
        raise Wrong("repair to .mjpg does not say that the sound is not kept")


def cases():
    for row in FILMS:
        ways = ["repair", "encode", "decode"] if row.name.endswith(".avi") else ["decode", "encode"]
        for way in ways:
            yield (f"sound/{way}-{row.name}", "5", lambda command, folder, row=row, way=way:
                   through(row, way, command, folder))
    for name, make in (("lav.avi", writers.by_mjpegtools(True)), ("gst.avi", by_gstreamer)):
        yield (f"sound/{name}", "5", lambda command, folder, name=name, make=make:
               through_other_writers(make, name, command, folder))
    yield "sound/wav-in-and-out", "5", wav_in_and_out
    yield "sound/told-when-lost", "5", told_when_lost
