"""What the headers of a frame say, and whether the codec reads such frames."""

from __future__ import annotations

from typing import Any, Dict, List, NamedTuple, Set, Tuple, Union

from ._library import Error

_KINDS = {
    0xC1: "extended sequential", 0xC2: "progressive", 0xC3: "lossless",
    0xC9: "arithmetic", 0xCA: "arithmetic progressive",
}  # fmt: skip
_SAMPLINGS = {(0x22, 0x11, 0x11): "4:2:0", (0x11, 0x11, 0x11): "4:4:4", (0x11,): "grey"}

# ITU T.81 Tables K.3 to K.6 as DHT has them, by class and number, and all of them in one segment.
# Filled by learn_standard_tables.
_standard_tables: Dict[int, bytes] = {}
_standard_segments: Set[bytes] = set()

_USUAL_HEADERS = 2048  # bytes that hold the headers of nearly all frames

Buffer = Union[bytes, bytearray, memoryview]


class FrameInfo(NamedTuple):
    """What a frame says of itself."""

    width: int  #: pixels
    height: int  #: lines of the frame, rounded up to whole blocks of 8 (16 for a field pair)
    fields: bool  #: two images, one a field
    first_image: str  #: of a field pair: "top" or "bottom", the field that comes first
    full_range: bool  #: luma 0 to 255 instead of 16 to 235


def _segments(stream: bytes) -> List[Tuple[int, int, int]]:
    """Marker, start and end of the payload of each segment up to SOS."""
    size = len(stream)
    if stream[:2] != b"\xff\xd8":
        raise Error("this is no JPEG: it does not begin with FF D8")
    found = []
    position = 2
    marker = 0
    while marker != 0xDA:
        if stream[position : position + 1] not in (b"\xff", b""):
            raise Error(f"there is no marker at byte {position}")
        while position < size and stream[position] == 0xFF:
            position += 1
        if position + 3 > size:
            raise Error(f"the frame ends in its headers, at byte {size}")
        marker = stream[position]
        end = position + 1 + (stream[position + 1] << 8 | stream[position + 2])
        if end > size or end < position + 3:
            raise Error(f"the segment at byte {position - 1} does not end in the frame")
        found.append((marker, position + 3, end))
        position = end
    return found


def _check_shape(stream: bytes, start: int, end: int) -> None:
    if end - start < 6 or end - start < 6 + 3 * stream[start + 5]:
        raise Error("the frame header is cut")
    sampling = tuple(stream[start + 7 : start + 6 + 3 * stream[start + 5] : 3])
    if stream[start] != 8:
        raise Error(f"samples have {stream[start]} bits, not 8")
    if sampling != (0x21, 0x11, 0x11):
        name = _SAMPLINGS.get(sampling, "of another sampling")
        raise Error(f"the codec reads 4:2:2, and this frame is {name}")


def _tables(segment: bytes) -> List[Tuple[int, bytes]]:
    """The tables of a DHT segment: class and number, the rest."""
    found = []
    while len(segment) >= 17:
        size = 17 + sum(segment[1:17])
        found.append((segment[0], segment[1:size]))
        segment = segment[size:]
    return found


def _check_tables(segment: bytes) -> None:
    if segment in _standard_segments:
        return
    if any(_standard_tables.get(name) != table for name, table in _tables(segment)):
        raise Error("the frame has Huffman tables of its own, not those of ITU T.81 Annex K")


def learn_standard_tables(stream: bytes) -> None:
    """Takes the tables from a frame of the encoder."""
    for marker, start, end in _segments(stream):
        if marker == 0xC4:
            _standard_segments.add(stream[start:end])
            _standard_tables.update(_tables(stream[start:end]))


_COMMENTS = {
    b"CS=ITU601": ("full_range", False),
    b"tkmjpg: full range": ("full_range", True),
    b"tkmjpg: even lines, earlier": ("first_image", "top"),
    b"tkmjpg: even lines, later": ("first_image", "top"),
    b"tkmjpg: odd lines, earlier": ("first_image", "bottom"),
    b"tkmjpg: odd lines, later": ("first_image", "bottom"),
}


def _inspect_headers(stream: bytes) -> FrameInfo:
    width = height = field_code = 0
    first_component = -1
    said: Dict[str, Any] = {}
    avi1 = False
    for marker, start, end in _segments(stream):
        if marker == 0xC0:
            _check_shape(stream, start, end)
            height = stream[start + 1] << 8 | stream[start + 2]
            width = stream[start + 3] << 8 | stream[start + 4]
            first_component = stream[start + 6]
        elif marker == 0xC4:
            _check_tables(stream[start:end])
        elif marker == 0xE0 and end >= start + 5 and stream.startswith(b"AVI1", start):
            field_code = stream[start + 4]
            avi1 = True
        elif marker == 0xFE:
            name, value = _COMMENTS.get(stream[start:end].rstrip(b"\0"), ("", None))
            said[name] = value
        elif marker in _KINDS:
            raise Error(f"the codec reads baseline JPEG, and this frame is {_KINDS[marker]}")
    if width == 0 or height == 0:
        raise Error("the frame has no pixels, or no frame header")
    pair = field_code in (1, 2)
    first = said.get("first_image", "top" if field_code == 2 else "bottom")
    # This codec counts components from 0, and means limited range where nothing else is said.
    full_range = said.get("full_range", not (avi1 and first_component == 0))
    return FrameInfo(width, 2 * height if pair else height, pair, first, full_range)


def inspect(stream: Buffer) -> FrameInfo:
    """Reads the headers of a frame. Raises `Error` if the codec does not read such a frame."""
    try:
        return _inspect_headers(bytes(stream[:_USUAL_HEADERS]))
    except Error:
        if len(stream) <= _USUAL_HEADERS:
            raise
    return _inspect_headers(bytes(stream))
