// Raw pixels to the samples of one MCU.
#pragma once

#include <cstdint>

#include "frame/pixel_format.h"

namespace tkmjpg {

struct EncoderKernels;

// McuSamples: 256 bytes. The sample in row r and column s (0 to 7 each) of lane l lies at byte
// 32 r + 4 s + l. Lanes: left luma block, right luma block, and the two chroma blocks, Cb ahead of
// Cr (exchanged for kVyuy). No level shift.
inline constexpr int kMcuSampleBytes = 256;

// Reads 16 pixels at each of the eight `rows`, fills `samples` and moves the rows on behind them.
// Chroma is the mean of a pair's two pixels. RGB of 24 and 32 bits goes to the ITU-R BT.601 ranges
// (luma 16 to 235), RGB of 16 bits to 0 to 255; packed YUV is taken as it is.
using InputConverter = void (*)(const uint8_t* rows[8], uint8_t* samples);

void ConvertRgb24(const uint8_t* rows[8], uint8_t* samples);
void ConvertRgb32(const uint8_t* rows[8], uint8_t* samples);
void ConvertRgb555(const uint8_t* rows[8], uint8_t* samples);
void ConvertYuyv(const uint8_t* rows[8], uint8_t* samples);
void ConvertUyvy(const uint8_t* rows[8], uint8_t* samples);

// The converter of a layout out of a kernel table; null for a code that the encoder does not take.
InputConverter SelectInputConverter(const EncoderKernels& kernels, PixelFormatCode format);

// Copies the `pixels` (1 to 15) that a line still has at `line` to `padded` and repeats the last
// one up to 16 pixels, 64 bytes at most. In packed YUV the last pair's chroma repeats with its
// last luma; of an odd line's half pair the missing chroma byte counts as 128.
void PadLine(const uint8_t* line, int pixels, PixelFormatCode format, uint8_t* padded);

}  // namespace tkmjpg
