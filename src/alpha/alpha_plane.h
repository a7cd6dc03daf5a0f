// The alpha plane of 32-bit pictures, lossless, in a segment of its own behind the frame.
//
// The segment is FF E1 00 08 "ALPH" 01 00 and then one bit stream, most significant bit first and
// without stuffing, over all pixels row by row. A running value starts at 0 and wraps at 256:
//   00             value + 1, one pixel
//   01             value - 1, one pixel
//   10 dddddddd    value + d, one pixel
//   11 0 nnn       the value stays for n + 1 pixels
//   11 1 n(12)     the value stays for n + 1 pixels
// The last byte is filled with 0 bits. Nothing tells the stream's length but the pixels.
#pragma once

#include <cstdint>

namespace tkmjpg {

// Both work on four-byte pixels whose fourth byte is the alpha value; stride is signed, and a width
// or height of 0 or less means no pixels.

// Returns the segment's length, or 0 if it does not fit output_capacity.
uint32_t EncodeAlphaPlane(uint8_t* output, uint32_t output_capacity, const uint8_t* pixels,
                          int32_t stride, int32_t width, int32_t height);

// Looks for the segment from `data` on and writes the alpha bytes as far as it goes. Returns where
// reading stopped, or `data` if there is no segment.
const uint8_t* DecodeAlphaPlane(const uint8_t* data, uint32_t data_size, uint8_t* pixels,
                                int32_t stride, int32_t width, int32_t height);

}  // namespace tkmjpg
