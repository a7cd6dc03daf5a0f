// The samples of one MCU to pixels in the caller's layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/layout.h"

namespace tkmjpg {

// McuBlocks: 256 bytes, four blocks of 8 x 8 in raster order: left luma, right luma, Cb, Cr.
inline constexpr int kMcuBlockBytes = 256;

// Writes 16 pixels at `offset` bytes in each of the first `row_count` (1 to 8) rows. Chroma is not
// interpolated: a Cb, Cr pair serves its two pixels. Packed YUV: luma is limited to 16 to 235, or
// left as it is by the full-range codes. RGB by the matrix of ITU-R BT.601; the full-range codes
// drop only the expansion of luma from 16..235. The last byte of four is 0, or 255 in the alpha
// layouts. RGB of 16 bits by a matrix of its own with a luma gain of about 1.
using McuConverter = void (*)(uint8_t* const rows[8], size_t offset, const uint8_t* blocks,
                              int row_count);

// Null for a code that the decoder does not know.
McuConverter SelectMcuConverter(PixelFormatCode format);

// An MCU that the picture's right edge cuts: written here whole, and copied as far as it goes.
struct CutMcu {
  alignas(64) uint8_t lines[8][64];
  std::array<uint8_t*, 8> rows;
  CutMcu() {
    for (int r = 0; r < 8; ++r) rows[r] = lines[r];
  }
  void CopyTo(uint8_t* const to[8], size_t offset, size_t bytes, int row_count) const {
    for (int r = 0; r < row_count; ++r) std::memcpy(to[r] + offset, lines[r], bytes);
  }
};

}  // namespace tkmjpg
