"""AVI files with Motion-JPEG: frames in and out, without sound."""

from __future__ import annotations

import os
from fractions import Fraction
from typing import TYPE_CHECKING, Any, Iterator, Optional, Union

from ._avi_index import FrameTable, read_film
from ._avi_layout import FilmLayout
from ._frames import Decoder, Encoder
from ._headers import inspect
from ._library import Error

if TYPE_CHECKING:
    from ._frames import Pixels

Path = Union[str, "os.PathLike[str]"]


class AviReader:
    """The frames of a film: iterate over it, or ask for one by number.

    `options` are those of `Decoder`; the height comes from the film. A frame without data repeats
    the one before it, as AVI has it. A file that was cut has the frames that are whole.

        width, height  of the picture in pixels
        rate           frames a second, a Fraction
    """

    def __init__(self, path: Path, **options: Any) -> None:
        self._file = open(path, "rb")
        try:
            film = read_film(self._file)
            self.width, self.height, self.rate = film.width, film.height, film.rate
            self._frames: FrameTable = film.frames
            options.setdefault("height", self.height)
            self._decoder = Decoder(**options)
        except BaseException:
            self._file.close()
            raise

    def __len__(self) -> int:
        return len(self._frames)

    def stream(self, number: int) -> bytes:
        """Frame `number` as it is stored, from 0 on; negative ones count from the end."""
        frames = self._frames
        if not -len(frames) <= number < len(frames):
            raise IndexError(f"there is no frame {number} of {len(frames)}")
        number %= len(frames)
        while number > 0 and frames.size(number) == 0:
            number -= 1
        self._file.seek(frames.offset(number))
        return self._file.read(frames.size(number))

    def __getitem__(self, number: int) -> "Pixels":
        try:
            return self._decoder.decode(self.stream(number))
        except Error as error:
            raise Error(f"frame {number}: {error}") from None

    def __iter__(self) -> "Iterator[Pixels]":
        return (self[number] for number in range(len(self)))

    def streams(self) -> Iterator[bytes]:
        """The frames as they are stored."""
        return (self.stream(number) for number in range(len(self)))

    def close(self) -> None:
        self._file.close()

    def __enter__(self) -> "AviReader":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


class AviWriter:
    """Writes a film, of any length. It gets its name when it is closed; until then it is PATH.part.

    `rate` is frames a second: a number or a Fraction such as Fraction(30000, 1001). `options` are
    those of `Encoder`.
    """

    def __init__(self, path: Path, rate: Union[int, float, Fraction] = 25, **options: Any) -> None:
        self._encoder = Encoder(**options)
        exact = Fraction(rate)
        self._rate = exact.limit_denominator(1001) if isinstance(rate, float) else exact
        if self._rate <= 0 or max(self._rate.numerator, self._rate.denominator) > 0xFFFFFFFF:
            raise Error(f"a film cannot have {rate} frames a second")
        self._path = os.fspath(path)
        self._file = open(self._path + ".part", "wb")
        self._film: Optional[FilmLayout] = None
        self._shape = (0, 0)

    def write(self, frame: "Pixels") -> None:
        """Adds a frame of shape (height, width, bytes a pixel), uint8."""
        height, width = frame.shape[:2]
        self.write_stream(self._encoder.encode(frame), width, height)

    def write_stream(
        self, stream: bytes, width: Optional[int] = None, height: Optional[int] = None
    ) -> None:
        """Adds a frame that is coded already; its own size counts where none is given."""
        if width is None or height is None:
            info = inspect(stream)
            width, height = width or info.width, height or info.height
        if self._file.closed:
            raise Error("the film is closed")
        if self._film is None:
            self._film = FilmLayout(self._file, width, height, self._rate)
            self._shape = (width, height)
        elif self._shape != (width, height):
            before = "{} x {}".format(*self._shape)
            raise Error(f"frames of this film have {before} pixels, and not {width} x {height}")
        self._film.add_frame(stream)

    def close(self) -> None:
        """Completes the file. A film without a frame leaves none."""
        if self._file.closed:
            return
        try:
            if self._film is not None:
                self._film.finish()
        finally:
            self._file.close()
        if self._film is not None:
            os.replace(self._path + ".part", self._path)
        else:
            os.remove(self._path + ".part")

    def __enter__(self) -> "AviWriter":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
