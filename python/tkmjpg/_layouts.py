"""The pixel layouts of the codec."""

from __future__ import annotations

from typing import Dict, NamedTuple, Optional

from ._library import Error


class Layout(NamedTuple):
    code: int  # FOURCC, little-endian
    channels: int  # bytes a pixel
    encodes: bool
    decodes: bool
    kind: str  # "yuv", "bgr" or "word"


def _layout(fourcc: str, channels: int, directions: str, kind: str) -> Layout:
    code = int.from_bytes(fourcc.encode("ascii"), "little")
    return Layout(code, channels, "E" in directions, "D" in directions, kind)


#: Layouts by name. The last axis of an array holds the bytes of a pixel in this order.
LAYOUTS: Dict[str, Layout] = {
    "YUY2": _layout("YUY2", 2, "ED", "yuv"),  # Y0 Cb, Y1 Cr: a pair of pixels shares its chroma
    "UYVY": _layout("UYVY", 2, "ED", "yuv"),  # Cb Y0, Cr Y1
    "VYUY": _layout("VYUY", 2, "E", "yuv"),  # Cr Y0, Cb Y1
    "YuYv": _layout("YuYv", 2, "ED", "yuv"),  # as YUY2; decoded luma is not limited to 16 to 235
    "UyVy": _layout("UyVy", 2, "ED", "yuv"),  # as UYVY; the same
    "BGR3": _layout("BGR3", 3, "ED", "bgr"),  # B G R
    "BGR4": _layout("BGR4", 4, "ED", "bgr"),  # B G R and a spare byte, decoded as 0
    "BGRA": _layout("BGRA", 4, "ED", "bgr"),  # B G R and alpha
    "R555": _layout("R555", 2, "ED", "word"),  # little-endian 0RRRRRGGGGGBBBBB
    "R565": _layout("R565", 2, "D", "word"),  # little-endian RRRRRGGGGGGBBBBB
}

_DEFAULTS = {2: "YUY2", 3: "BGR3", 4: "BGR4"}


def known_layout(name: str) -> Layout:
    layout = LAYOUTS.get(name)
    if layout is None:
        raise Error(f"there is no layout {name!r}; there are {', '.join(LAYOUTS)}")
    return layout


def layout_of(name: Optional[str], channels: int) -> Layout:
    """The layout called `name`, or the usual one of that many bytes a pixel."""
    if name is None:
        if channels not in _DEFAULTS:
            raise Error(f"a pixel has 2, 3 or 4 bytes, not {channels}")
        name = _DEFAULTS[channels]
    layout = known_layout(name)
    if channels != layout.channels:
        raise Error(f"a pixel of {name} has {layout.channels} bytes, not {channels}")
    return layout
