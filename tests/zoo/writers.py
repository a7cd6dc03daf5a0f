"""How the files of the zoo are made. Each function returns one that takes a folder, a name and a
film, and writes the film there with a program that is not ours."""
from fractions import Fraction

import film as films
import jpeg_bytes
from programs import ffmpeg, gstreamer, made

SOUND = ["-f", "lavfi", "-t", "0.24", "-i", "sine=440:r=48000"]


def y4m_of(folder, name, film):
    return films.write_y4m(film, folder / f"{name}.source.y4m")


def by_ffmpeg(*options, pixels=None):
    """Limited range is not what the encoder likes: it has to be asked twice."""
    def make(folder, name, film):
        extra = [] if film.full else ["-strict", "-1"]
        form = pixels or f"yuv{'j' if film.full else ''}{film.sampling}p"
        ffmpeg("-i", y4m_of(folder, name, film), "-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", form,
               *extra, *options, folder / name)
        return folder / name
    return make


def with_sound_by_ffmpeg(codec):
    def make(folder, name, film):
        ffmpeg("-i", y4m_of(folder, name, film), *SOUND, "-c:v", "mjpeg", "-q:v", "2", "-pix_fmt",
               f"yuvj{film.sampling}p", "-c:a", codec, folder / name)
        return folder / name
    return make


def jpegs(film, folder, name, *options):
    """The frames as FFmpeg writes them, one by one."""
    form = f"yuv{'j' if film.full else ''}{film.sampling}p" if film.sampling != "mono" else "gray"
    return jpeg_bytes.images_of(ffmpeg(
        "-i", y4m_of(folder, name, film), "-c:v", "mjpeg", "-q:v", "2", "-strict", "-1",
        "-pix_fmt", form, *options, "-f", "mjpeg", "-"))


def back_to_back(folder, name, images):
    (folder / name).write_bytes(b"".join(images))
    return folder / name


def in_avi(folder, name, film, frames, **options):
    path = folder / name
    avi = path.with_suffix(".raw.avi") if path.suffix != ".avi" else path
    avi.write_bytes(jpeg_bytes.avi(frames, *film.size, film.rate, **options))
    if avi != path:
        ffmpeg("-i", avi, "-c", "copy", path)
    return path


def changed_by_hand(change, *options):
    """The frames of FFmpeg, changed."""
    def make(folder, name, film):
        frames = [change(image) for image in jpegs(film, folder, name, *options)]
        if name.endswith(".mjpg"):
            return back_to_back(folder, name, frames)
        return in_avi(folder, name, film, frames)
    return make


def field_pairs(even_first=True, codes=None, tables_once=False, header=b""):
    """Two images a frame; with field codes they have no JFIF header."""
    def make(folder, name, film):
        even, odd = (jpegs(part, folder, f"{name}.{i}", "-huffman", "default")
                     for i, part in enumerate(films.fields_of(film)))
        frames = []
        for pair in zip(even, odd) if even_first else zip(odd, even):
            if codes:
                pair = [jpeg_bytes.with_segment(jpeg_bytes.without(image, jpeg_bytes.APP0),
                                                jpeg_bytes.avi1(code))
                        for image, code in zip(pair, codes)]
            second = jpeg_bytes.without(pair[1], jpeg_bytes.DHT) if tables_once else pair[1]
            frames.append(pair[0] + second)
        if name.endswith(".mjpg"):
            return back_to_back(folder, name, frames)
        return in_avi(folder, name, film, frames, after_header=header)
    return make


RAW_FORMATS = {"420": "i420", "422": "y42b", "444": "y444", "411": "y41b", "mono": "gray8"}


def by_gstreamer(*elements, pixels=None, encoder="jpegenc quality=95"):
    """`elements` mux what `encoder` writes."""
    def make(folder, name, film):
        raw = folder / f"{name}.raw"
        raw.write_bytes(b"".join(plane[frame].tobytes() for frame in range(film.frames)
                                 for plane in film.planes))
        width, height = film.size
        convert = ["videoconvert", "!", f"video/x-raw,format={pixels}", "!"] if pixels else []
        gstreamer("filesrc", f"location={raw}", "!", "rawvideoparse", f"width={width}",
                  f"height={height}", f"framerate={film.rate}",
                  f"format={RAW_FORMATS[film.sampling]}", "!", *convert, *encoder.split(), "!",
                  *elements, "!", "filesink", f"location={folder / name}")
        return folder / name
    return make


def by_mjpegtools(with_sound=False):
    def make(folder, name, film):
        source = y4m_of(folder, name, film).read_bytes()
        head, _, rest = source.partition(b"\n")
        head = b" ".join(word for word in head.split() if not word.startswith(b"XCOLOR"))
        path = folder / (f"silent-{name}" if with_sound else name)
        made(["yuv2lav", "-v", "0", "-f", "a", "-q", "95", "-o", path], head + b"\n" + rest)
        if with_sound:
            ffmpeg(*SOUND, "-ac", "2", "-bitexact", folder / f"{name}.wav")
            made(["lavaddwav", path, folder / f"{name}.wav", folder / name])
        return folder / name
    return make


def pictures_of(film, folder, name):
    """PPM, for tools that read nothing else."""
    data = ffmpeg("-i", y4m_of(folder, name, film), "-pix_fmt", "rgb24", "-f", "image2pipe",
                  "-c:v", "ppm", "-")
    width, height = film.size
    size = len(data) // film.frames
    assert size * film.frames == len(data) and data.startswith(b"P6\n%d %d\n" % (width, height))
    return [data[at:at + size] for at in range(0, len(data), size)]


def by_cjpeg(*options, twin=()):
    """`twin`: what jpegtran has to do so that FFmpeg can read the images."""
    def make(folder, name, film):
        images = [made(["cjpeg", "-quality", "92", *options], data=picture)
                  for picture in pictures_of(film, folder, name)]
        if twin:
            (folder / f"{name}.twin.mjpg").write_bytes(
                b"".join(made(["jpegtran", *twin], data=image) for image in images))
        if name.endswith(".mjpg"):
            return back_to_back(folder, name, images)
        return in_avi(folder, name, film, images)
    return make


def by_jpegtran(*options):
    def make(folder, name, film):
        images = [made(["jpegtran", *options], data=image)
                  for image in jpegs(film, folder, name)]
        return in_avi(folder, name, film, images)
    return make


def with_gaps(folder, name, film):
    """A muxer that keeps time by empty chunks: frames 1 and 4 are missing."""
    ffmpeg("-i", y4m_of(folder, name, film), "-vf", "select='not(eq(mod(n,3),1))'", "-vsync",
           "vfr", "-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", "yuvj422p", folder / name)
    frames = jpeg_bytes.avi_frames((folder / name).read_bytes())
    assert [bool(frame) for frame in frames] == [True, False, True, True, False, True]
    return folder / name


def with_thumbnail(image):
    """A phone's picture: a whole small JPEG within a segment."""
    exif = b"Exif\0\0" + b"II*\0\x08\0\0\0\0\0\0\0\0\0" + image[:1500] + b"\xff\xd9"
    return jpeg_bytes.with_segment(image, jpeg_bytes.segment(0xE1, exif))


def without_huffman_tables(image):
    return jpeg_bytes.without(image, jpeg_bytes.DHT, jpeg_bytes.APP0)


def with_code(code):
    def change(image):
        image = jpeg_bytes.without(image, jpeg_bytes.APP0)
        return jpeg_bytes.with_segment(image, jpeg_bytes.avi1(code))
    return change


NTSC, FILM_RATE = Fraction(30000, 1001), Fraction(24000, 1001)
