"""The shared library: beside this file in a wheel, else the system's."""

from __future__ import annotations

import ctypes
import pathlib

from ._version import SOVERSION, version

__all__ = ["Error", "CarryState", "compress", "decompress", "max_stream_size", "version"]

# Flags, as tkmjpg.h has them.
C_HUFFMAN_TABLES = 0x1
C_ONE_FIELD = 0x2
C_CODE2_FIRST = 0x20
C_STRONG_RATE = 0x80
C_RATE_CONTROL = 0x10000
C_FIELDS = 0x20000
C_ALPHA = 0x40000
C_JFIF = 7 << 20
D_ONE_FIELD_SMART = 0x100
D_ONE_FIELD = 0x200
D_INVERT_FIELDS = 0x400
D_FULL_RANGE = 0x4000

LARGEST_SIZE = 65535


class Error(ValueError):
    """What the codec cannot do, and why."""


class CarryState(ctypes.Structure):
    """What encoder and decoder remember from frame to frame."""

    _fields_ = [("decode_flags", ctypes.c_uint32), ("rate_scale", ctypes.c_uint32)]

    def __init__(self) -> None:
        super().__init__(256, 0)


def _load() -> ctypes.CDLL:
    name = f"libtkmjpg.so.{SOVERSION}"
    bundled = pathlib.Path(__file__).with_name(name)
    return ctypes.CDLL(str(bundled) if bundled.exists() else name)


_address, _i32, _u32 = ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32
_carry = ctypes.POINTER(CarryState)

# ctypes releases the interpreter lock while such a function runs.
_library = _load()
compress = _library.CompressBuffer_MJPG
compress.argtypes = [
    _address, _i32, _address, _u32, _i32, _i32, _i32, _u32, _u32, _u32, _carry]  # fmt: skip
compress.restype = _u32
decompress = _library.DecompressBuffer_MJPG
decompress.argtypes = [_address, _u32, _address, _i32, _i32, _i32, _u32, _u32, _u32, _carry]
decompress.restype = _u32


def max_stream_size(width: int, height: int, *, fields: bool = False, alpha: bool = False) -> int:
    """The most bytes that a frame of that size can have, as TkmjpgMaxStreamSize of tkmjpg.h."""
    image_lines = height // 2 if fields else height
    mcus = (width + 15) // 16 * ((image_lines + 7) // 8)
    alpha_bytes = 11 + width * height * 10 // 8 if alpha else 0
    return min((2 if fields else 1) * (640 + 864 * mcus) + alpha_bytes, 0xFFFFFFFF)
