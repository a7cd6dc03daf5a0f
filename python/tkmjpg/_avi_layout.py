"""The bytes of an AVI file with OpenDML indexes: segments of 1 GB, each with its own index."""

from __future__ import annotations

import struct
from fractions import Fraction
from typing import BinaryIO, List, Tuple

from ._library import Error

_SEGMENT_BYTES = 1 << 30
_SEGMENTS = 256  # that the super index has place for
_KEY_FRAME = 0x10


def _chunk(name: bytes, data: bytes) -> bytes:
    return struct.pack("<4sI", name, len(data)) + data + bytes(len(data) % 2)


def _list(name: bytes, data: bytes) -> bytes:
    return _chunk(b"LIST", name + data)


class FilmLayout:
    """Writes the parts of a film with one stream of video."""

    def __init__(self, file: BinaryIO, width: int, height: int, rate: Fraction) -> None:
        self._file, self._width, self._height, self._rate = file, width, height, rate
        self._frames = self._largest = self._bytes = 0
        self._segments: List[Tuple[int, int, int]] = []  # of each index: place, size, frames
        self._first_frames = 0  # of the first segment, whose frames older readers see
        self._begin_segment(self._header())

    def _header(self) -> bytes:
        largest = self._largest + 8
        per_second = min(int(largest * self._rate) + 1, 0xFFFFFFFF)
        avih = struct.pack(
            "<14I", min(round(1000000 / self._rate), 0xFFFFFFFF), per_second, 0, _KEY_FRAME,
            self._first_frames, 0, 1, largest, self._width, self._height, 0, 0, 0, 0)  # fmt: skip
        strh = struct.pack(
            "<4s4sIHHIIIIIIIIhhhh", b"vids", b"MJPG", 0, 0, 0, 0, self._rate.denominator,
            self._rate.numerator, 0, self._frames, largest, 0xFFFFFFFF, 0, 0, 0,
            min(self._width, 0x7FFF), min(self._height, 0x7FFF))  # fmt: skip
        strf = struct.pack(
            "<IiiHHIIiiII", 40, self._width, self._height, 1, 24,
            int.from_bytes(b"MJPG", "little"), min(self._width * self._height * 3, 0xFFFFFFFF),
            0, 0, 0, 0)  # fmt: skip
        entries = b"".join(struct.pack("<QII", *segment) for segment in self._segments)
        indx = struct.pack("<HBBI4s12x", 4, 0, 0, len(self._segments), b"00dc") + entries
        strl = (
            _chunk(b"strh", strh)
            + _chunk(b"strf", strf)
            + _chunk(b"indx", indx.ljust(24 + 16 * _SEGMENTS, b"\0"))
        )
        dmlh = struct.pack("<I", self._frames).ljust(248, b"\0")
        return _list(
            b"hdrl",
            _chunk(b"avih", avih) + _list(b"strl", strl) + _list(b"odml", _chunk(b"dmlh", dmlh)),
        )

    def _begin_segment(self, header: bytes) -> None:
        self._riff = self._file.tell()
        # Sizes of 0 until the segment is complete.
        self._file.write(b"RIFF\0\0\0\0" + (b"AVI " if header else b"AVIX") + header)
        self._movi = self._file.tell()
        self._file.write(b"LIST\0\0\0\0movi")
        self._entries: List[Tuple[int, int]] = []  # place and size of each frame's data

    def add_frame(self, stream: bytes) -> None:
        if self._file.tell() + len(stream) - self._riff > _SEGMENT_BYTES and self._entries:
            if len(self._segments) + 1 == _SEGMENTS:
                raise Error(f"a film has at most {_SEGMENTS} GB")
            self._end_segment()
            self._begin_segment(b"")
        self._entries.append((self._file.tell() + 8, len(stream)))
        self._file.write(_chunk(b"00dc", stream))
        self._frames += 1
        self._largest = max(self._largest, len(stream))

    def _end_segment(self) -> None:
        place = self._file.tell()
        index = struct.pack("<HBBI4sQI", 2, 0, 1, len(self._entries), b"00dc", self._movi, 0)
        index += b"".join(struct.pack("<II", at - self._movi, size) for at, size in self._entries)
        self._file.write(_chunk(b"ix00", index))
        self._segments.append((place, len(index) + 8, len(self._entries)))
        movi_end = self._file.tell()
        if len(self._segments) == 1:
            self._first_frames = len(self._entries)
            self._file.write(_chunk(b"idx1", b"".join(
                struct.pack("<4sIII", b"00dc", _KEY_FRAME, at - 8 - (self._movi + 8), size)
                for at, size in self._entries)))  # fmt: skip
        end = self._file.tell()
        for begin, part_end in ((self._riff, end), (self._movi, movi_end)):
            self._file.seek(begin + 4)
            self._file.write(struct.pack("<I", part_end - begin - 8))
        self._file.seek(end)

    def finish(self) -> None:
        self._end_segment()
        self._file.seek(12)
        self._file.write(self._header())
