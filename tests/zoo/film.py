"""Films as numpy arrays: sources with known fields, Y4M in and out, PSNR."""
import functools
import subprocess
from dataclasses import dataclass, field, replace
from fractions import Fraction

import numpy as np

# Of the chroma planes: how many luma columns and lines a sample stands for.
SAMPLINGS = {"420": (2, 2), "422": (2, 1), "444": (1, 1), "411": (4, 1), "440": (1, 2),
             "410": (4, 2), "mono": None}


@dataclass
class Film:
    planes: list            # of luma, and of Cb and Cr unless mono: frames x lines x columns
    sampling: str
    rate: Fraction = Fraction(25)
    order: str = "p"        # p progressive; t, b: interlaced, the top or bottom field is first
    full: bool = False      # luma 0..255, not 16..235
    tags: dict = field(default_factory=dict)

    @property
    def frames(self):
        return self.planes[0].shape[0]

    @property
    def size(self):
        return self.planes[0].shape[2], self.planes[0].shape[1]

    def with_lines_swapped(self):
        """The fields in each other's place, as a program shows them that mixes them up."""
        return replace(self, planes=[swapped(plane) for plane in self.planes])

    def cropped(self, width, height):
        across, down = SAMPLINGS[self.sampling] or (1, 1)
        sizes = [(height, width)] + [(-(-height // down), -(-width // across))] * 2
        return replace(self, planes=[plane[:, :lines, :columns]
                                     for plane, (lines, columns) in zip(self.planes, sizes)])

    def part(self, frames):
        return replace(self, planes=[plane[frames] for plane in self.planes])

    def as_sampling(self, sampling):
        """Coarser chroma, each sample the mean of those that it replaces, within its field."""
        if sampling == self.sampling:
            return self
        if sampling == "mono":
            return replace(self, planes=self.planes[:1], sampling=sampling)
        old, new = SAMPLINGS[self.sampling], SAMPLINGS[sampling]
        across, down = new[0] / old[0], new[1] / old[1]
        if across < 1 or down < 1 or across % 1 or down % 1:
            raise ValueError(f"{self.sampling} is not finer than {sampling}")
        chroma = [shrunk(plane, int(across), int(down), self.order != "p")
                  for plane in self.planes[1:]]
        return replace(self, planes=[self.planes[0], *chroma], sampling=sampling)


    def with_finer_chroma(self, sampling):
        """Interpolated between the middles of the samples."""
        old, new = SAMPLINGS[self.sampling], SAMPLINGS[sampling]
        sizes = plane_sizes(sampling, *self.size)[1:]
        chroma = [spread(spread(plane, old[1] // new[1], lines, 1), old[0] // new[0], columns, 2)
                  for plane, (lines, columns) in zip(self.planes[1:], sizes)]
        return replace(self, planes=[self.planes[0], *chroma], sampling=sampling)


def spread(plane, times, count, axis):
    at = ((np.arange(count) + 0.5) / times - 0.5).clip(0, plane.shape[axis] - 1)
    low = np.floor(at).astype(int)
    high = np.minimum(low + 1, plane.shape[axis] - 1)
    part = (at - low).reshape([-1 if i == axis else 1 for i in range(3)])
    return (plane.take(low, axis) * (1 - part) + plane.take(high, axis) * part + 0.5).astype(
        np.uint8)


def swapped(plane):
    result = plane.copy()
    pairs = plane.shape[1] // 2 * 2
    result[:, 0:pairs:2], result[:, 1:pairs:2] = plane[:, 1:pairs:2], plane[:, 0:pairs:2]
    return result


def shrunk(plane, across, down, interlaced):
    if interlaced and down > 1:
        fields = [shrunk(plane[:, line::2], across, down, False) for line in (0, 1)]
        result = np.empty((plane.shape[0], sum(f.shape[1] for f in fields), fields[0].shape[2]),
                          np.uint8)
        result[:, 0::2], result[:, 1::2] = fields
        return result
    frames, lines, columns = plane.shape
    plane = np.pad(plane, ((0, 0), (0, -lines % down), (0, -columns % across)), "edge")
    blocks = plane.reshape(frames, plane.shape[1] // down, down, -1, across)
    return (blocks.mean(axis=(2, 4)) + 0.5).astype(np.uint8)


@functools.cache
def moving_picture(kind, width, height, frames):
    """A made picture of FFmpeg's, 4:4:4, luma 16..235."""
    if width % 2 or height % 2:  # which FFmpeg's pictures cannot be
        return moving_picture(kind, width + width % 2, height + height % 2,
                              frames).cropped(width, height)
    source = {"test": f"testsrc2=s={width}x{height}:r=25",
              "fractal": f"mandelbrot=s={width}x{height}:start_scale=0.6:end_scale=0.1:end_pts=200",
              "levels": f"color=black:s={width}x{height},"
                        f"drawbox=x={width // 2}:color=white:t=fill"}[kind]
    raw = subprocess.run(
        ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, "-frames:v", str(frames),
         "-vf", "scale=out_color_matrix=bt601:out_range=tv", "-pix_fmt", "yuv444p",
         "-f", "rawvideo", "-"], check=True, stdout=subprocess.PIPE).stdout
    picture = np.frombuffer(raw, np.uint8).reshape(frames, 3, height, width)
    return Film([picture[:, i] for i in range(3)], "444")


def source(width, height, frames, order="p", sampling="422", rate=Fraction(25), full=False,
           kind=None):
    """A film; of interlaced ones each field is a moment of its own. What scrolls up and down in
    FFmpeg's test picture makes it smoother with the fields in each other's place: it is for whole
    frames only."""
    kind = kind or ("test" if order == "p" else "fractal")
    if order == "p":
        film = moving_picture(kind, width, height, frames)
    else:
        moments = moving_picture(kind, width, height, 2 * frames)
        film = replace(moments, order=order, planes=[
            woven(*((plane[0::2], plane[1::2]) if order == "t" else (plane[1::2], plane[0::2])))
            for plane in moments.planes])
    return replace(film.as_sampling(sampling), rate=Fraction(rate), full=full)


def woven(top, bottom):
    """The even lines of one, the odd lines of the other."""
    result = top.copy()
    result[:, 1::2] = bottom[:, 1::2]
    return result


def joined(first, second):
    """Two films of fields as one of frames; the lines of `first` are the even ones."""
    planes = []
    for even, odd in zip(first.planes, second.planes):
        frames, lines, columns = even.shape
        planes.append(np.stack([even, odd], axis=2).reshape(frames, 2 * lines, columns))
    return replace(first, planes=planes)


def fields_of(film):
    """The film of the even lines, and the film of the odd ones."""
    return tuple(replace(film, order="p", planes=[plane[:, line::2] for plane in film.planes])
                 for line in (0, 1))


def in_range(film, full):
    """The film as its picture is in the other range."""
    if film.full == full:
        return film
    planes = []
    blacks = (16, 0), (128, 128), (128, 128)
    for plane, limited, black in zip(film.planes, (219, 224, 224), blacks):
        gain = 255 / limited if full else limited / 255
        old, new = black if full else black[::-1]
        planes.append(((plane - float(old)) * gain + new + 0.5).clip(0, 255).astype(np.uint8))
    return replace(film, planes=planes, full=full)


def from_rgb(planes):
    """BT.601, full range."""
    red, green, blue = (plane.astype(float) for plane in planes)
    luma = 0.299 * red + 0.587 * green + 0.114 * blue
    chroma = [128 + (blue - luma) / 1.772, 128 + (red - luma) / 1.402]
    return Film([(p + 0.5).clip(0, 255).astype(np.uint8) for p in (luma, *chroma)], "444",
                full=True)


def psnr(a, b):
    """Of the worst frame of the worst plane."""
    worst = float("inf")
    for one, two in zip(a.planes, b.planes, strict=True):
        error = ((one.astype(np.int16) - two) ** 2.0).mean(axis=(1, 2)).max()
        if error:
            worst = min(worst, 10 * np.log10(255 ** 2 / error))
    return float(worst)


def write_y4m(film, path):
    width, height = film.size
    chroma = {"420": "420jpeg"}.get(film.sampling, film.sampling)
    head = (f"YUV4MPEG2 W{width} H{height} F{film.rate.numerator}:{film.rate.denominator}"
            f" I{film.order} A1:1 C{chroma} XCOLORRANGE={'FULL' if film.full else 'LIMITED'}\n")
    with open(path, "wb") as out:
        out.write(head.encode())
        for frame in range(film.frames):
            out.write(b"FRAME\n" + b"".join(plane[frame].tobytes() for plane in film.planes))
    return path


def read_y4m(data):
    head, _, rest = data.partition(b"\n")
    words = head.decode().split()
    if words[:1] != ["YUV4MPEG2"]:
        raise ValueError("no Y4M")
    # XCOLORRANGE=FULL is a tag of its own name, the others are a letter.
    tags = dict(word.split("=") if "=" in word else (word[0], word[1:]) for word in words[1:])
    sampling = next(name for name in SAMPLINGS if tags.get("C", "420").startswith(name))
    width, height = int(tags["W"]), int(tags["H"])
    planes = unpacked(b"".join(y4m_frames(rest, sampling, width, height)), sampling, width, height)
    return Film(planes, sampling, Fraction(tags["F"].replace(":", "/")), tags.get("I", "p"),
                tags.get("XCOLORRANGE") == "FULL", tags)


def y4m_frames(data, sampling, width, height):
    size = sum(lines * columns for lines, columns in plane_sizes(sampling, width, height))
    at = 0
    while at < len(data):
        begin = data.index(b"\n", at) + 1
        yield data[begin:begin + size]
        at = begin + size


def plane_sizes(sampling, width, height):
    if SAMPLINGS[sampling] is None:
        return [(height, width)]
    across, down = SAMPLINGS[sampling]
    return [(height, width)] + [(-(-height // down), -(-width // across))] * 2


def unpacked(raw, sampling, width, height):
    """The planes of raw frames."""
    sizes = plane_sizes(sampling, width, height)
    size = sum(lines * columns for lines, columns in sizes)
    frames = np.frombuffer(raw, np.uint8)[:len(raw) // size * size].reshape(-1, size)
    planes, at = [], 0
    for lines, columns in sizes:
        planes.append(frames[:, at:at + lines * columns].reshape(-1, lines, columns))
        at += lines * columns
    return planes
