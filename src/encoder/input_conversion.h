// Raw pixels to the samples of one MCU.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/layout.h"

namespace tkmjpg {

// McuSamples: 256 bytes. The sample in row r and column s (0 to 7 each) of lane l lies at byte
// 32 r + 4 s + l. Lanes: left luma block, right luma block, and the two chroma blocks, Cb before
// Cr (exchanged for kVyuy). No level shift.
inline constexpr int kMcuSampleBytes = 256;

// Reads 16 pixels at `offset` bytes in each of the eight `rows` and fills `samples`.
// Chroma is the mean of a pair's two pixels. RGB of 24 and 32 bits goes to the ITU-R BT.601 ranges
// (luma 16 to 235), RGB of 16 bits to 0 to 255; packed YUV is taken as it is.
using InputConverter = void (*)(const uint8_t* const rows[8], size_t offset, uint8_t* samples);

// The converter of a layout; null for a code that the encoder does not take.
InputConverter SelectInputConverter(PixelFormatCode format);

// Copies the `pixels` (1 to 15) that a line still has at `line` to `padded` and repeats the last
// one up to 16 pixels, 64 bytes at most. In packed YUV the last pair's chroma repeats with its
// last luma; of an odd line's half pair the missing chroma byte counts as 128.
void PadLine(const uint8_t* line, int pixels, PixelFormatCode format, uint8_t* padded);

// RGB of 16 bits as packed YUV: 16 pixels at each of the eight rows.
struct PackedMcu {
  uint8_t lines[8][32];
  std::array<const uint8_t*, 8> rows;
  explicit PackedMcu(const uint8_t* const rgb555_rows[8]);
};

// An MCU that the line's end cuts, `offset` bytes in the rows of a band, made whole.
struct PaddedMcu {
  uint8_t lines[8][64];
  std::array<const uint8_t*, 8> rows;
  PaddedMcu(const std::array<const uint8_t*, 8>& band, size_t offset, int pixels,
            PixelFormatCode format);
};

}  // namespace tkmjpg
