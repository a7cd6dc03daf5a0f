"""What other programs write: `decode` to Y4M has the samples that FFmpeg has, on the right lines,
with the right rate, order and range."""
from dataclasses import dataclass, replace
from fractions import Fraction

import film as films
import jpeg_bytes
import writers as w
from programs import Missing, Wrong, ffmpeg_film, last_line, run

LEAST = 45.0  # dB, worst frame of the worst plane


@dataclass
class Row:
    name: str           # of the file
    point: str          # what it stands for
    make: object        # of writers
    sampling: str = "420"
    range: str = "full"
    order: str = "p"
    rate: Fraction = Fraction(25)
    size: tuple = (176, 144)
    truth: str = ""     # if not FFmpeg's decode as it is: see truth_of
    aspect: str = ""
    least: float = LEAST
    made_of: str = ""   # the sampling that goes in, if it is another one than comes out

    def film(self):
        return films.source(*self.size, frames=6, order=self.order,
                            sampling=self.made_of or self.sampling, rate=self.rate,
                            full=self.range == "full")


def code_pair(*codes, **options):
    return w.field_pairs(codes=codes, **options)


EXTENDED, POLARITY_1 = jpeg_bytes.extended_header(True), jpeg_bytes.extended_header(False)
ROWS = [
    # FFmpeg: samplings, ranges, rates, containers.
    Row("ff-420.avi", "3", w.by_ffmpeg()),
    Row("ff-422.avi", "2", w.by_ffmpeg(), "422"),
    Row("ff-444.avi", "3", w.by_ffmpeg(), "444"),
    Row("ff-420-limited.avi", "3", w.by_ffmpeg(), range="limited"),
    Row("ff-422-limited.avi", "2", w.by_ffmpeg(), "422", range="limited"),
    Row("ff-444-limited.mkv", "4", w.by_ffmpeg(), "444", range="limited"),
    Row("ff-422-annex-k.avi", "2", w.by_ffmpeg("-huffman", "default"), "422"),
    Row("ff-odd-size.avi", "3", w.by_ffmpeg(), size=(173, 139)),
    Row("ff-odd-size-422.avi", "2", w.by_ffmpeg(), "422", size=(173, 139)),
    Row("ff-coarse.avi", "2", w.by_ffmpeg("-q:v", "31"), "422"),
    Row("ff-12.5.avi", "3", w.by_ffmpeg(), rate=Fraction(25, 2)),
    Row("ff-ntsc.mov", "4", w.by_ffmpeg(), "422", rate=w.NTSC),
    Row("ff-film.mkv", "4", w.by_ffmpeg(), rate=w.FILM_RATE),
    Row("ff-50.mp4", "4", w.by_ffmpeg(), rate=Fraction(50)),
    Row("ff-15.nut", "4", w.by_ffmpeg(), "422", rate=Fraction(15)),
    Row("ff-limited.mov", "4", w.by_ffmpeg(), "422", range="limited", rate=Fraction(30)),
    Row("ff-aspect.mkv", "4", w.by_ffmpeg("-aspect", "16:9"), aspect="16:11"),
    Row("ff-aspect.mov", "4", w.by_ffmpeg("-aspect", "16:9"), aspect="16:11"),
    Row("ff-sound.mov", "4", w.with_sound_by_ffmpeg("pcm_s16le"), rate=Fraction(50)),
    Row("ff-sound.mkv", "4", w.with_sound_by_ffmpeg("ac3"), rate=w.NTSC),
    Row("ff-sound.avi", "5", w.with_sound_by_ffmpeg("libmp3lame"), "422", truth="gaps"),
    Row("ff-420.mjpg", "3", w.by_ffmpeg("-f", "mjpeg")),
    Row("ff-422.mjpg", "2", w.by_ffmpeg("-f", "mjpeg"), "422"),
    Row("ff-gaps.avi", "9", w.with_gaps, "422", truth="gaps"),
    # FFmpeg's frames as cameras and phones wrap them.
    Row("webcam-no-tables.avi", "2", w.changed_by_hand(w.without_huffman_tables, "-huffman",
                                                       "default"), "422"),
    Row("webcam-no-tables-420.avi", "3", w.changed_by_hand(w.without_huffman_tables, "-huffman",
                                                           "default")),
    Row("phone-thumbnail.mjpg", "3", w.changed_by_hand(w.with_thumbnail)),
    Row("whole-code-1.avi", "1", w.changed_by_hand(w.with_code(1)), "422", range="limited"),
    Row("whole-code-2.avi", "1", w.changed_by_hand(w.with_code(2)), "422", range="limited"),
    # GStreamer.
    Row("gst-i420.avi", "3", w.by_gstreamer("avimux")),
    Row("gst-y42b.mov", "4", w.by_gstreamer("qtmux"), "422", rate=w.NTSC),
    Row("gst-y444.mkv", "4", w.by_gstreamer("matroskamux"), "444", rate=Fraction(50)),
    Row("gst-y41b.avi", "3", w.by_gstreamer("avimux"), "411"),
    Row("gst-grey.avi", "3", w.by_gstreamer("avimux"), "mono"),
    Row("gst-rgb.avi", "3", w.by_gstreamer("avimux", pixels="RGB"), "444", "any", truth="rgb"),
    Row("gst-multipart.mjpg", "3", w.by_gstreamer("multipartmux"), truth="images"),
    Row("gst-avenc.avi", "3", w.by_gstreamer("avimux", encoder="avenc_mjpeg bitrate=9000000"),
        range="limited"),
    # libjpeg-turbo's tools.
    Row("cjpeg-420.mjpg", "3", w.by_cjpeg()),
    Row("cjpeg-422.avi", "2", w.by_cjpeg("-sample", "2x1"), "422"),
    Row("cjpeg-444.avi", "3", w.by_cjpeg("-sample", "1x1"), "444"),
    Row("cjpeg-440.avi", "3", w.by_cjpeg("-sample", "1x2"), "440", made_of="444"),
    Row("cjpeg-411.avi", "3", w.by_cjpeg("-sample", "4x1"), "411"),
    Row("cjpeg-410.avi", "3", w.by_cjpeg("-sample", "4x2"), "410", made_of="444",
        truth="even columns"),
    Row("cjpeg-422-as-2x2-1x2.avi", "3", w.by_cjpeg("-sample", "2x2,1x2,1x2"), "422"),
    Row("cjpeg-444-as-2x1-2x1.avi", "3", w.by_cjpeg("-sample", "2x1,2x1,2x1"), "444"),
    Row("cjpeg-grey.avi", "3", w.by_cjpeg("-grayscale"), "mono"),
    Row("cjpeg-rgb.avi", "3", w.by_cjpeg("-rgb"), "444", "any", truth="rgb"),
    Row("cjpeg-progressive.avi", "3", w.by_cjpeg("-progressive")),
    Row("cjpeg-progressive-422.avi", "3", w.by_cjpeg("-progressive", "-sample", "2x1"), "422"),
    Row("cjpeg-arithmetic.avi", "3", w.by_cjpeg("-arithmetic", twin=["-optimize"]), truth="twin"),
    Row("cjpeg-optimize-422.avi", "2", w.by_cjpeg("-optimize", "-sample", "2x1"), "422"),
    Row("cjpeg-restart-1B.avi", "3", w.by_cjpeg("-restart", "1B")),
    Row("cjpeg-restart-rows-422.avi", "2", w.by_cjpeg("-restart", "1", "-sample", "2x1"), "422"),
    Row("cjpeg-three-qtables.avi", "3", w.by_cjpeg("-qslots", "0,1,1", "-quality", "95,80")),
    Row("jpegtran-progressive.avi", "3", w.by_jpegtran("-progressive"), "422"),
    Row("jpegtran-restart-limited.avi", "2", w.by_jpegtran("-restart", "3B"), "422",
        range="limited"),
    # mjpegtools: whole frames, field pairs whose second image inherits the tables. The samples are
    # what came in, 16..235.
    Row("lav-p.avi", "1", w.by_mjpegtools(), "422", range="any", made_of="420"),
    Row("lav-t.avi", "1", w.by_mjpegtools(), "422", "limited", "t",
        truth="lines of source", made_of="420"),
    Row("lav-b.avi", "1", w.by_mjpegtools(), "422", "limited", "b",
        truth="lines of source", made_of="420"),
    Row("lav-sound-t.avi", "5", w.by_mjpegtools(True), "422", "limited", "t",
        truth="lines of source", made_of="420"),
    # Field pairs of others. FFmpeg and GStreamer look at no code; FFmpeg puts the first image of a
    # pair in an AVI file on line 1, unless the extended header says otherwise.
    Row("pairs-even-12.avi", "1", code_pair(1, 2), "422", "limited", "t",
        truth="lines of source"),
    Row("pairs-even-21.avi", "1", code_pair(2, 1), "422", "limited", "t",
        truth="lines of source"),
    Row("pairs-odd-12.avi", "1", code_pair(1, 2, even_first=False), "422", "limited", "b",
        truth="lines of source"),
    Row("pairs-odd-21.avi", "1", code_pair(2, 1, even_first=False), "422", "limited", "b",
        truth="lines of source"),
    Row("pairs-even-no-code.avi", "1", w.field_pairs(), "422", "full", "t",
        truth="lines of source"),
    Row("pairs-odd-no-code.avi", "1", w.field_pairs(False), "422", "full", "b",
        truth="lines of source"),
    Row("pairs-even-extended.avi", "1", code_pair(1, 2, header=EXTENDED), "422", "limited", "t",
        truth="lines of source"),
    Row("pairs-odd-polarity-1.avi", "1", code_pair(1, 2, even_first=False, header=POLARITY_1),
        "422", "limited", "b", truth="lines of source"),
    Row("pairs-even.mov", "4", code_pair(1, 2), "422", "limited", "t", truth="lines of source"),
    Row("pairs-odd.mkv", "4", code_pair(1, 2, even_first=False), "422", "limited", "b",
        truth="lines of source"),
    Row("pairs-420.avi", "3", w.field_pairs(), "420", "full", "t", truth="lines of source"),
    Row("pairs-420-inherited-tables.avi", "3", code_pair(1, 2, tables_once=True), "420",
        "limited", "t", truth="lines of source"),
    Row("pairs-even-12.mjpg", "1", code_pair(1, 2), "422", "limited", "t", truth="fields"),
]


def truth_of(row, path, source):
    """FFmpeg's decode, and what is known better."""
    if row.truth == "twin":
        return ffmpeg_film(path.with_name(path.name + ".twin.mjpg"))
    if row.truth == "images":
        images = path.with_suffix(".images.mjpg")
        images.write_bytes(b"".join(jpeg_bytes.images_of(path.read_bytes())))
        return ffmpeg_film(images)
    if row.truth == "fields":
        fields = ffmpeg_film(path)
        return films.joined(fields.part(slice(0, None, 2)), fields.part(slice(1, None, 2)))
    found = ffmpeg_film(path)
    if found.tags.get("range") == "tv" and row.range == "full":
        raise Missing("FFmpeg says limited range, the table full")
    if row.truth == "gaps":
        return found.part(shown_frames(path))
    if row.truth == "even columns":  # the others it has interpolated, as it knows no 4:1:0
        luma, *chroma = found.planes
        found = replace(found, planes=[luma, *(c[:, :, ::2] for c in chroma)], sampling="410")
    if row.truth == "lines of source":
        found = nearer(found.cropped(*source.size), source)
    return found


def shown_frames(path):
    """Which of the frames each chunk of an AVI file shows: an empty one repeats."""
    full = [bool(frame) for frame in jpeg_bytes.avi_frames(path.read_bytes())]
    return [sum(full[:i + 1]) - 1 for i in range(len(full))]


def nearer(found, source):
    """Of a film and the one with its fields swapped; it has to be clear which one it is."""
    luma = source.as_sampling("mono")
    both = [(films.psnr(film.as_sampling("mono"), luma), film)
            for film in (found, found.with_lines_swapped())]
    both.sort(key=lambda pair: pair[0])
    if both[1][0] - both[0][0] < 6:
        raise Missing(f"the order of the source does not show: {both[0][0]:.1f}, {both[1][0]:.1f}")
    return both[1][1]


def compare(row, got, truth):
    if got.size != row.size:
        raise Wrong(f"{got.size[0]}x{got.size[1]} instead of {row.size[0]}x{row.size[1]}")
    if got.frames != truth.frames:
        raise Wrong(f"{got.frames} frames instead of {truth.frames}")
    coarse = max((got, truth), key=coarseness).sampling
    quality = films.psnr(got.as_sampling(coarse), truth.as_sampling(coarse))
    if coarseness(got) < coarseness(truth) and truth.sampling != "mono":
        quality = max(quality, films.psnr(got, truth.with_finer_chroma(got.sampling)))
    if quality < row.least:
        swapped = films.psnr(got.with_lines_swapped().as_sampling(coarse),
                             truth.as_sampling(coarse))
        hint = f" ({swapped:.1f} with lines swapped)" if swapped > quality + 6 else ""
        raise Wrong(f"{quality:.1f} dB{hint}")
    return quality


def coarseness(film):
    across, down = films.SAMPLINGS[film.sampling] or (8, 8)
    return across * down


def check_tags(row, got):
    wrong = []
    if got.rate != row.rate:
        wrong.append(f"rate {got.rate} instead of {row.rate}")
    if got.order != row.order:
        wrong.append(f"I{got.order} instead of I{row.order}")
    if row.range != "any" and got.full != (row.range == "full"):
        wrong.append(f"marked {'full' if got.full else 'limited'} instead of {row.range} range")
    if row.aspect and got.tags.get("A") != row.aspect:
        wrong.append(f"aspect {got.tags.get('A')} instead of {row.aspect}")
    # Y4M has no name for some samplings; there nothing may get lost.
    named = row.sampling if row.sampling in ("420", "422", "444", "411", "mono") else got.sampling
    if got.sampling != named:
        wrong.append(f"chroma {got.sampling} instead of {named}")
    return wrong


def check(row, command, folder):
    source = row.film()
    path = row.make(folder, row.name, source)
    truth = truth_of(row, path, source)
    done = run([command, "decode", path, folder / "out.y4m", "--quiet"])
    if done.returncode != 0:
        raise Wrong(f"exit code {done.returncode}: {last_line(done.stderr)}")
    got = films.read_y4m((folder / "out.y4m").read_bytes())
    wrong, quality = check_tags(row, got), 0.0
    try:
        if row.truth == "rgb":
            truth = films.in_range(truth, got.full)
        quality = compare(row, got, truth)
    except Wrong as error:
        wrong.insert(0, str(error))
    if wrong:
        raise Wrong("; ".join(wrong))
    return f"{quality:.1f} dB"


def cases():
    for row in ROWS:
        yield (f"decode/{row.name}", row.point,
               lambda command, folder, row=row: check(row, command, folder))
