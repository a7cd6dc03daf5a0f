// The samples of one MCU to pixels in the caller's layout.
#pragma once

#include <cstdint>

#include "frame/pixel_format.h"

namespace tkmjpg {

struct DecoderKernels;

// McuBlocks: 256 bytes, four blocks of 8 x 8 in raster order: left luma, right luma, Cb, Cr.
inline constexpr int kMcuBlockBytes = 256;

// Writes 16 pixels at each of the first `row_count` (1 to 8) rows and moves those rows on behind
// them. Chroma is not interpolated: a Cb, Cr pair serves its two pixels.
using McuConverter = void (*)(uint8_t* rows[8], const uint8_t* blocks, int row_count);

// Packed YUV: luma is limited to 16 to 235, or left as it is by the full-range variants.
void ConvertMcuToYuyv(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToYuyvFull(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToUyvy(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToUyvyFull(uint8_t* rows[8], const uint8_t* blocks, int row_count);
// RGB by the matrix of ITU-R BT.601; the full-range variants drop only the expansion of luma from
// 16..235. The last byte of four is 0, or 255 in the alpha layouts.
void ConvertMcuToBgr24(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToBgr24Full(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToBgrx32(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToBgrx32Full(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToBgra32(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToBgra32Full(uint8_t* rows[8], const uint8_t* blocks, int row_count);
// RGB of 16 bits, by a matrix of its own with a luma gain of about 1.
void ConvertMcuToRgb555(uint8_t* rows[8], const uint8_t* blocks, int row_count);
void ConvertMcuToRgb565(uint8_t* rows[8], const uint8_t* blocks, int row_count);
// For codes that the decoder does not know: writes nothing and moves nothing.
void ConvertMcuToNothing(uint8_t* rows[8], const uint8_t* blocks, int row_count);

McuConverter SelectMcuConverter(const DecoderKernels& kernels, PixelFormatCode format);

// The full-range variant of a code where there is one, else the code itself.
PixelFormatCode FullRangeVariant(PixelFormatCode format);

}  // namespace tkmjpg
