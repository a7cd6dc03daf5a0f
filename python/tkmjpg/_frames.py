"""One frame a call, and the two classes that remember from frame to frame."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional, Union

import numpy as np

from . import _library as lib
from ._headers import FrameInfo, inspect, learn_standard_tables
from ._layouts import known_layout, layout_of
from ._library import Error

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Pixels = NDArray[np.uint8]
    Stream = Union[bytes, bytearray, memoryview, Pixels]

_FIELD_FLAGS = {
    None: 0,
    "bottom": lib.C_FIELDS,
    "top": lib.C_FIELDS | lib.C_CODE2_FIRST,
}


def _is_packed(pixels: "Pixels") -> bool:
    """Whether the bytes of each line are next to each other."""
    _, width, channels = pixels.shape
    return (channels < 2 or pixels.strides[2] == 1) and (width < 2 or pixels.strides[1] == channels)


def _check_pixels(pixels: Any) -> None:
    if not isinstance(pixels, np.ndarray) or pixels.dtype != np.uint8:
        raise TypeError("a frame is a NumPy array of uint8")
    if pixels.ndim != 3:
        raise Error(f"a frame has the shape (height, width, bytes a pixel), not {pixels.shape}")
    height, width, _ = pixels.shape
    if not (0 < height <= lib.LARGEST_SIZE and 0 < width <= lib.LARGEST_SIZE):
        raise Error(f"a frame of {width} x {height} pixels cannot be coded")


def _line_stride(pixels: "Pixels") -> int:
    stride = pixels.strides[0]
    if not -(1 << 31) <= stride < 1 << 31:
        raise Error(f"lines are {stride} bytes apart, which is too much")
    return stride


def _check_end(data: "Pixels") -> None:
    """Alpha may follow the EOI, so that it is not always among the last bytes."""
    if b"\xff\xd9" not in data[-64:].tobytes() and b"\xff\xd9" not in data.tobytes():
        raise Error(f"the frame is cut: it has no end before byte {data.size}")


class Encoder:
    """Frames to Motion-JPEG, with one set of options. For one thread at a time.

    quality         1 (smallest) to 100 (best)
    target_size     bytes that frames should come near, instead of a quality
    layout          name of `LAYOUTS`; by the last axis if None: 2 YUY2, 3 BGR3, 4 BGR4
    fields          None: whole frames. "top" or "bottom": two images a frame, and the field that
                    comes first. The top field has the lines 0, 2, 4, ...
    alpha           append the alpha plane of BGRA, without loss
    huffman_tables  in every frame, for readers that do not know the standard ones
    full_range      luma of packed YUV is 0 to 255; the frame gets a JFIF header, that says so.
                    (BGR is coded as 16 to 235, R555 always as 0 to 255)
    """

    def __init__(
        self,
        *,
        quality: int = 75,
        target_size: Optional[int] = None,
        layout: Optional[str] = None,
        fields: Optional[str] = None,
        alpha: bool = False,
        huffman_tables: bool = True,
        full_range: bool = False,
    ) -> None:
        if fields not in _FIELD_FLAGS:
            raise Error(f'fields is None, "top" or "bottom", not {fields!r}')
        if layout is not None and not known_layout(layout).encodes:
            raise Error(f"{layout} is a layout of the decoder alone")
        if not 1 <= quality <= 100:
            raise Error(f"quality is 1 to 100, not {quality}")
        if target_size is not None and not 0 < target_size < 1 << 31:
            raise Error(f"target_size is a number of bytes, not {target_size}")
        self._layout = "BGRA" if alpha and layout is None else layout
        if alpha and self._layout != "BGRA":
            raise Error(f"{layout} has no alpha plane; BGRA has")
        self._quality = quality if target_size is None else target_size
        self._flags = _FIELD_FLAGS[fields]
        if alpha:
            self._flags |= lib.C_ALPHA
        if huffman_tables:
            self._flags |= lib.C_HUFFMAN_TABLES
        if target_size is not None:
            self._flags |= lib.C_RATE_CONTROL | lib.C_STRONG_RATE
        self._full_range = full_range
        self._carry = lib.CarryState()
        self._buffer = np.empty(0, np.uint8)

    def encode(self, frame: "Pixels") -> bytes:
        """One frame of shape (height, width, bytes a pixel), uint8, to a stream."""
        _check_pixels(frame)
        height, width, channels = frame.shape
        layout = layout_of(self._layout, channels)
        flags = self._flags
        if layout.kind == "word" or self._full_range:
            if layout.kind == "bgr":
                raise Error("BGR is coded with luma 16 to 235: full_range is for packed YUV")
            flags |= lib.C_JFIF
        if not _is_packed(frame):
            frame = np.ascontiguousarray(frame)
        capacity = lib.max_stream_size(
            width, height, fields=flags & lib.C_FIELDS != 0, alpha=flags & lib.C_ALPHA != 0
        )
        if self._buffer.size < capacity:
            self._buffer = np.empty(capacity, np.uint8)
        size = lib.compress(
            frame.ctypes.data, _line_stride(frame), self._buffer.ctypes.data, capacity, width,
            height, self._quality, flags, layout.code, 0, self._carry)  # fmt: skip
        if size == 0:
            raise Error(f"a frame of {width} x {height} pixels is too large for the codec")
        return self._buffer[:size].tobytes()


class Decoder:
    """Motion-JPEG to frames, with one set of options. For one thread at a time.

    layout       name of `LAYOUTS`, for the last axis: BGR3 gives (height, width, 3)
    height       lines of the picture, if known from elsewhere, such as an AVI file. Streams know it
                 rounded up to whole blocks only; a picture twice as high as an image is made of
                 fields
    first_image  of field pairs: "top" or "bottom", the field that comes first; None goes by what
                 this codec writes: comments, else the field codes
    full_range   luma of the stream is 0 to 255; None goes by the headers: it is 16 to 235 in frames
                 of this codec with an AVI1 header, and where the comment "CS=ITU601" says so
    one_field    "double" or "interpolate": how the lines of a missing field are made
    """

    def __init__(
        self,
        *,
        layout: str = "BGR3",
        height: Optional[int] = None,
        first_image: Optional[str] = None,
        full_range: Optional[bool] = None,
        one_field: str = "double",
    ) -> None:
        self._layout = known_layout(layout)
        if not self._layout.decodes:
            raise Error(f"{layout} is a layout of the encoder alone")
        if first_image not in (None, "top", "bottom"):
            raise Error(f'first_image is None, "top" or "bottom", not {first_image!r}')
        if one_field not in ("double", "interpolate"):
            raise Error(f'one_field is "double" or "interpolate", not {one_field!r}')
        if height is not None and not 0 < height <= lib.LARGEST_SIZE:
            raise Error(f"height is 1 to {lib.LARGEST_SIZE}, not {height}")
        self._height = height
        self._first_image = first_image
        self._full_range = full_range
        self._flags = lib.D_ONE_FIELD_SMART if one_field == "interpolate" else 0
        self._carry = lib.CarryState()

    def decode(self, stream: "Stream", out: Optional["Pixels"] = None) -> "Pixels":
        """One frame to an array of shape (height, width, bytes a pixel), uint8.

        `out` takes the picture if given, and says how large it is: a larger frame is cropped.
        Damage inside the data of an image shows in the picture alone; a frame that is cut raises
        `Error`, as do frames that the codec does not read.
        """
        data = np.frombuffer(stream, np.uint8)
        info = inspect(data.data)
        _check_end(data)
        if out is None:
            shape = (self._height or info.height, info.width, self._layout.channels)
            out = np.zeros(shape, np.uint8)
        else:
            self._check_out(out, info)
        lib.decompress(
            data.ctypes.data, data.size, out.ctypes.data, _line_stride(out), out.shape[1],
            out.shape[0], self._flags_for(info), self._layout.code, 0, self._carry)  # fmt: skip
        return out

    def _check_out(self, out: "Pixels", info: FrameInfo) -> None:
        _check_pixels(out)
        if out.shape[2] != self._layout.channels:
            raise Error(f"a pixel has {self._layout.channels} bytes, and one of out {out.shape[2]}")
        if not out.flags.writeable or not _is_packed(out):
            raise Error("out has to be writeable, with the bytes of a line next to each other")
        if out.shape[1] > info.width:
            raise Error(f"out is {out.shape[1]} pixels wide, and the frame {info.width}")

    def _flags_for(self, info: FrameInfo) -> int:
        flags = self._flags
        if (self._first_image or info.first_image) == "top":
            flags |= lib.D_INVERT_FIELDS
        if info.full_range if self._full_range is None else self._full_range:
            flags |= lib.D_FULL_RANGE
        return flags


def encode(
    frame: "Pixels",
    *,
    quality: int = 75,
    layout: Optional[str] = None,
    fields: Optional[str] = None,
    alpha: bool = False,
    huffman_tables: bool = True,
    full_range: bool = False,
) -> bytes:
    """One frame of shape (height, width, bytes a pixel), uint8, to a stream: see `Encoder`."""
    return Encoder(
        quality=quality, layout=layout, fields=fields, alpha=alpha, huffman_tables=huffman_tables,
        full_range=full_range,
    ).encode(frame)  # fmt: skip


def decode(
    stream: "Stream",
    *,
    layout: str = "BGR3",
    height: Optional[int] = None,
    out: Optional["Pixels"] = None,
    first_image: Optional[str] = None,
    full_range: Optional[bool] = None,
) -> "Pixels":
    """A stream to an array of shape (height, width, bytes a pixel), uint8: see `Decoder`."""
    return Decoder(
        layout=layout, height=height, first_image=first_image, full_range=full_range
    ).decode(stream, out)


learn_standard_tables(encode(np.zeros((8, 16, 2), np.uint8)))
