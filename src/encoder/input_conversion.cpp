#include "encoder/input_conversion.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "encoder/encoder_kernels.h"

namespace tkmjpg {
namespace {

// Rounds towards minus infinity; the denominator is positive.
constexpr int32_t FloorDiv(int32_t numerator, int32_t denominator) {
  const int32_t quotient = numerator / denominator;
  return quotient - (numerator % denominator < 0 ? 1 : 0);
}

// RgbFieldTable: what an 8-bit value of one colour adds to luma (bits 0 to 9, in quarters), Cb
// (bits 10 to 20) and Cr (bits 21 to 31; both in quarters, and summed over a pair). The offsets of
// the matrix are spread so that no part is negative and no sum carries into the next field.
using RgbFieldTable = std::array<uint32_t, 256>;

constexpr uint32_t PackFields(int32_t luma, int32_t cb, int32_t cr) {
  return static_cast<uint32_t>(luma) | static_cast<uint32_t>(cb) << 10 |
         static_cast<uint32_t>(cr) << 21;
}

// The matrix of ITU-R BT.601 in decimal fractions, times 4.
constexpr RgbFieldTable MakeRedTable() {
  RgbFieldTable table{};
  for (int i = 0; i < 256; ++i) {
    table[i] = PackFields(2 + FloorDiv(10281 * i + 5500, 10000), 192 - FloorDiv(593 * i + 10, 1000),
                          1 + FloorDiv(17551 * i, 10000));
  }
  return table;
}

constexpr RgbFieldTable MakeGreenTable() {
  RgbFieldTable table{};
  for (int i = 0; i < 256; ++i) {
    const int32_t cr = i == 0 ? 384 : 384 - FloorDiv(147164 * i - 5000, 100000);
    table[i] =
        PackFields(64 + FloorDiv(20188 * i + 200, 10000), 320 - FloorDiv(1164 * i + 5, 1000), cr);
  }
  return table;
}

constexpr RgbFieldTable MakeBlueTable() {
  RgbFieldTable table{};
  for (int i = 0; i < 256; ++i) {
    table[i] = PackFields(FloorDiv(3924 * i + 100, 10000), 1 + FloorDiv(17567 * i, 10000),
                          128 - FloorDiv(2848 * i + 50, 10000));
  }
  return table;
}

constexpr RgbFieldTable kRed = MakeRedTable();
constexpr RgbFieldTable kGreen = MakeGreenTable();
constexpr RgbFieldTable kBlue = MakeBlueTable();

// Rgb555Table: what the low or the high byte of a 16-bit pixel adds, luma in eighths, chroma in
// quarters. The full-range matrix of JFIF on the 5-bit values times 8.
struct Rgb555Parts {
  int16_t luma, cb, cr;
};
using Rgb555Table = std::array<Rgb555Parts, 256>;

constexpr Rgb555Table MakeRgb555LowTable() {
  Rgb555Table table{};
  for (int byte = 0; byte < 256; ++byte) {
    const int b = byte & 31, g = byte >> 5;
    table[byte] = {
        static_cast<int16_t>(2 + 2 * FloorDiv(3648 * b + 18784 * g, 1000)),
        static_cast<int16_t>(84 + FloorDiv(16000000 * b - 10600448 * g + 500000, 1000000)),
        static_cast<int16_t>(189 + FloorDiv(-2601984 * b - 13398016 * g + 450000, 1000000))};
  }
  return table;
}

constexpr Rgb555Table MakeRgb555HighTable() {
  Rgb555Table table{};
  for (int byte = 0; byte < 256; ++byte) {
    const int g = byte & 3, r = (byte >> 2) & 31;
    table[byte] = {
        static_cast<int16_t>(2 + 2 * FloorDiv(9568 * r + 150272 * g, 1000)),
        static_cast<int16_t>(427 + FloorDiv(-5399552 * r - 84803584 * g + 500000, 1000000)),
        static_cast<int16_t>(322 + FloorDiv(16000000 * r - 107184128 * g + 750000, 1000000))};
  }
  return table;
}

constexpr Rgb555Table kRgb555Low = MakeRgb555LowTable();
constexpr Rgb555Table kRgb555High = MakeRgb555HighTable();

// Stores pair k (0 to 7) of a line whose 32 sample bytes begin at `line`.
void StorePair(uint8_t* line, int k, uint32_t luma0, uint32_t luma1, uint32_t chroma2,
               uint32_t chroma3) {
  uint8_t* luma = line + 4 * ((2 * k) & 7) + (k >> 2);
  luma[0] = static_cast<uint8_t>(luma0);
  luma[4] = static_cast<uint8_t>(luma1);
  line[4 * k + 2] = static_cast<uint8_t>(chroma2);
  line[4 * k + 3] = static_cast<uint8_t>(chroma3);
}

uint32_t FieldSum(const uint8_t* bgr) { return kRed[bgr[2]] + kGreen[bgr[1]] + kBlue[bgr[0]]; }

// Sums of a pixel: luma [66, 942]; of a pair: Cb and Cr [128, 1927], within 11 bits.
template <int kPixelBytes>
void ConvertRgbLine(const uint8_t* pixels, uint8_t* line) {
  for (int k = 0; k < 8; ++k, pixels += 2 * kPixelBytes) {
    const uint32_t first = FieldSum(pixels);
    const uint32_t both = (first & ~0x3FFU) + FieldSum(pixels + kPixelBytes);
    StorePair(line, k, (first >> 2) & 0xFF, (both >> 2) & 0xFF, (both >> 13) & 0xFF, both >> 24);
  }
}

Rgb555Parts Rgb555Sum(const uint8_t* word) {
  const Rgb555Parts low = kRgb555Low[word[0]], high = kRgb555High[word[1]];
  return {static_cast<int16_t>(low.luma + high.luma), static_cast<int16_t>(low.cb + high.cb),
          static_cast<int16_t>(low.cr + high.cr)};
}

// The sums stay within bytes after the shift (luma [0, 248], chroma [3, 251]): nothing to clamp.
void ConvertRgb555Line(const uint8_t* pixels, uint8_t* line) {
  for (int k = 0; k < 8; ++k, pixels += 4) {
    const Rgb555Parts a = Rgb555Sum(pixels), b = Rgb555Sum(pixels + 2);
    StorePair(line, k, static_cast<uint32_t>(a.luma >> 3), static_cast<uint32_t>(b.luma >> 3),
              static_cast<uint32_t>((a.cb + b.cb) >> 3), static_cast<uint32_t>((a.cr + b.cr) >> 3));
  }
}

void ConvertYuyvLine(const uint8_t* pixels, uint8_t* line) {
  for (int k = 0; k < 8; ++k, pixels += 4) {
    StorePair(line, k, pixels[0], pixels[2], pixels[1], pixels[3]);
  }
}

void ConvertUyvyLine(const uint8_t* pixels, uint8_t* line) {
  for (int k = 0; k < 8; ++k, pixels += 4) {
    StorePair(line, k, pixels[1], pixels[3], pixels[0], pixels[2]);
  }
}

template <void (*kConvertLine)(const uint8_t*, uint8_t*), int kBytes>
void ConvertRows(const uint8_t* rows[8], uint8_t* samples) {
  for (int r = 0; r < 8; ++r) {
    kConvertLine(rows[r], samples + 32 * r);
    rows[r] += kBytes;
  }
}

bool IsChromaFirst(PixelFormatCode format) {
  return format == PixelFormatCode::kUyvy || format == PixelFormatCode::kUyvyFull ||
         format == PixelFormatCode::kVyuy;
}

bool IsPackedYuv(PixelFormatCode format) {
  return ((static_cast<uint32_t>(format) >> 4) & 0xF) == 3;
}

// The pair that stands for everything right of the line's end.
std::array<uint8_t, 4> RepeatedPair(const uint8_t* line, int pixels, PixelFormatCode format) {
  const uint8_t* last = line + 4 * ((pixels - 1) / 2);
  const int luma = IsChromaFirst(format) ? 1 : 0;
  const bool whole = pixels % 2 == 0;
  std::array<uint8_t, 4> pair;
  pair[luma] = pair[luma + 2] = last[luma + (whole ? 2 : 0)];
  pair[1 - luma] = last[1 - luma];
  pair[3 - luma] = whole ? last[3 - luma] : 128;
  return pair;
}

}  // namespace

void ConvertRgb24(const uint8_t* rows[8], uint8_t* samples) {
  ConvertRows<ConvertRgbLine<3>, 48>(rows, samples);
}
void ConvertRgb32(const uint8_t* rows[8], uint8_t* samples) {
  ConvertRows<ConvertRgbLine<4>, 64>(rows, samples);
}
void ConvertRgb555(const uint8_t* rows[8], uint8_t* samples) {
  ConvertRows<ConvertRgb555Line, 32>(rows, samples);
}
void ConvertYuyv(const uint8_t* rows[8], uint8_t* samples) {
  ConvertRows<ConvertYuyvLine, 32>(rows, samples);
}
void ConvertUyvy(const uint8_t* rows[8], uint8_t* samples) {
  ConvertRows<ConvertUyvyLine, 32>(rows, samples);
}

InputConverter SelectInputConverter(const EncoderKernels& kernels, PixelFormatCode format) {
  switch (format) {
    case PixelFormatCode::kBgr24:
      return kernels.convert_rgb24;
    case PixelFormatCode::kBgrx32:
    case PixelFormatCode::kBgra32:
      return kernels.convert_rgb32;
    case PixelFormatCode::kRgb555:
      return kernels.convert_rgb555;
    case PixelFormatCode::kYuyv:
    case PixelFormatCode::kYuyvFull:
      return kernels.convert_yuyv;
    case PixelFormatCode::kUyvy:
    case PixelFormatCode::kUyvyFull:
    case PixelFormatCode::kVyuy:
      return kernels.convert_uyvy;
    default:
      return nullptr;
  }
}

void PadLine(const uint8_t* line, int pixels, PixelFormatCode format, uint8_t* padded) {
  const int pixel_bytes = static_cast<int>(BytesPerPixel(format));
  std::memcpy(padded, line, static_cast<size_t>(pixels * pixel_bytes));
  if (IsPackedYuv(format)) {
    const std::array<uint8_t, 4> pair = RepeatedPair(line, pixels, format);
    // A half pair lacks its second chroma byte and its second luma: both come from `pair`.
    for (int at = 2 * pixels; at < 32; ++at) padded[at] = pair[at % 4];
  } else {
    const uint8_t* last = line + (pixels - 1) * pixel_bytes;
    for (int at = pixels; at < 16; ++at) std::copy_n(last, pixel_bytes, padded + at * pixel_bytes);
  }
}

}  // namespace tkmjpg
