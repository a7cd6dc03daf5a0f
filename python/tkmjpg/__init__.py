"""Motion-JPEG frames to NumPy arrays and back.

    stream = tkmjpg.encode(frame)              # (height, width, 2 or 3 or 4) uint8 to bytes
    frame = tkmjpg.decode(stream)              # bytes to (height, width, 3) uint8: B, G, R

    with tkmjpg.AviWriter("clip.avi", rate=25) as film:
        film.write(frame)
    for frame in tkmjpg.AviReader("clip.avi", layout="YUY2"):
        ...

Arrays are passed to the codec where they lie: any distance between lines will do, also a negative
one (``frame[::-1]``), as long as the bytes of a line are next to each other. Other arrays are
copied first. The codec runs without the interpreter lock, so threads code several frames at once;
an `Encoder` or a `Decoder` serves one thread at a time.
"""

from ._avi import AviReader, AviWriter
from ._frames import Decoder, Encoder, decode, encode
from ._headers import FrameInfo, inspect
from ._layouts import LAYOUTS
from ._library import Error, max_stream_size, version as __version__

__all__ = [
    "AviReader",
    "AviWriter",
    "Decoder",
    "Encoder",
    "Error",
    "FrameInfo",
    "LAYOUTS",
    "__version__",
    "decode",
    "encode",
    "inspect",
    "max_stream_size",
]
