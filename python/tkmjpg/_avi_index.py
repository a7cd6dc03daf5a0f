"""Where the frames of an AVI file lie, found by walking its chunks: an index may be missing."""

from __future__ import annotations

import struct
from array import array
from fractions import Fraction
from typing import BinaryIO, Iterator, NamedTuple, Optional, Tuple

from ._library import Error


class FrameTable:
    """Offset and size of each frame."""

    def __init__(self) -> None:
        self._offsets, self._sizes = array("Q"), array("L")

    def add(self, offset: int, size: int) -> None:
        self._offsets.append(offset)
        self._sizes.append(size)

    def __len__(self) -> int:
        return len(self._offsets)

    def offset(self, number: int) -> int:
        return self._offsets[number]

    def size(self, number: int) -> int:
        return self._sizes[number]


class Film(NamedTuple):
    width: int
    height: int
    rate: Fraction
    frames: FrameTable


class _Video(NamedTuple):
    number: int
    width: int
    height: int
    rate: Fraction


class _Chunk(NamedTuple):
    name: bytes  # of a list: its type
    is_list: bool
    begin: int
    end: int  # within what holds it


def _chunks(file: BinaryIO, begin: int, end: int) -> Iterator[_Chunk]:
    """Lists may be cut, other chunks are whole."""
    while begin + 8 <= end:
        file.seek(begin)
        name, size = struct.unpack("<4sI", file.read(8))
        data, after = begin + 8, begin + 8 + size
        is_list = name in (b"RIFF", b"LIST")
        if is_list:
            name, data = file.read(4), data + 4
        if is_list or after <= end:
            yield _Chunk(name, is_list, data, min(after, end))
        begin = max(after + size % 2, data)


def _payload(file: BinaryIO, chunk: _Chunk) -> bytes:
    file.seek(chunk.begin)
    return file.read(min(chunk.end - chunk.begin, 4096))


def _read_video(file: BinaryIO, number: int, strl: _Chunk) -> Optional[_Video]:
    parts = {c.name: _payload(file, c) for c in _chunks(file, strl.begin, strl.end)}
    head, form = parts.get(b"strh", b""), parts.get(b"strf", b"")
    if head[:4] != b"vids" or len(head) < 28 or len(form) < 20:
        return None
    scale, rate = struct.unpack_from("<II", head, 20)
    width, height = struct.unpack_from("<ii", form, 4)
    if scale == 0 or rate == 0 or width <= 0 or height == 0:
        raise Error("the film's header has no size or no frame rate")
    return _Video(number, width, abs(height), Fraction(rate, scale))


def _find_video(file: BinaryIO, hdrl: _Chunk) -> Optional[_Video]:
    streams = (c for c in _chunks(file, hdrl.begin, hdrl.end) if c.name == b"strl")
    videos = (_read_video(file, number, strl) for number, strl in enumerate(streams))
    return next((video for video in videos if video is not None), None)


def _add_frames(file: BinaryIO, movi: _Chunk, names: Tuple[bytes, bytes], to: FrameTable) -> None:
    """Goes into lists of records, which hold no further ones."""
    for chunk in _chunks(file, movi.begin, movi.end):
        if chunk.is_list:
            for part in _chunks(file, chunk.begin, chunk.end):
                if part.name in names:
                    to.add(part.begin, part.end - part.begin)
        elif chunk.name in names:
            to.add(chunk.begin, chunk.end - chunk.begin)


def read_film(file: BinaryIO) -> Film:
    file_size = file.seek(0, 2)
    file.seek(0)
    head = file.read(12)
    if head[:4] != b"RIFF" or head[8:] != b"AVI ":
        raise Error("this is no AVI file")
    video: Optional[_Video] = None
    frames = FrameTable()
    for riff in _chunks(file, 0, file_size):
        if not riff.is_list or riff.name not in (b"AVI ", b"AVIX"):
            break
        # A file that was never completed has sizes of 0.
        end = riff.end if riff.end > riff.begin else file_size
        for chunk in _chunks(file, riff.begin, end):
            if chunk.name == b"hdrl" and video is None:
                video = _find_video(file, chunk)
            elif chunk.name == b"movi" and video is not None:
                names = (b"%02ddc" % video.number, b"%02ddb" % video.number)
                whole = chunk if chunk.end > chunk.begin else chunk._replace(end=end)
                _add_frames(file, whole, names, frames)
    if video is None:
        raise Error("the film has no video")
    return Film(video.width, video.height, video.rate, frames)
