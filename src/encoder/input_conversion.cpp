#include "encoder/input_conversion.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "encoder/rgb_parts.h"

namespace tkmjpg {
namespace {

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

// The samples of a pair: Y0 Cb Y1 Cr. The sums stay within bytes after the shift (luma [0, 248],
// chroma [3, 251]): nothing to clamp.
std::array<uint8_t, 4> Rgb555Pair(const uint8_t* words) {
  const Rgb555Parts a = Rgb555Sum(words), b = Rgb555Sum(words + 2);
  return {static_cast<uint8_t>(a.luma >> 3), static_cast<uint8_t>((a.cb + b.cb) >> 3),
          static_cast<uint8_t>(b.luma >> 3), static_cast<uint8_t>((a.cr + b.cr) >> 3)};
}

void ConvertRgb555Line(const uint8_t* pixels, uint8_t* line) {
  for (int k = 0; k < 8; ++k, pixels += 4) {
    const std::array<uint8_t, 4> pair = Rgb555Pair(pixels);
    StorePair(line, k, pair[0], pair[2], pair[1], pair[3]);
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

template <void (*kConvertLine)(const uint8_t*, uint8_t*)>
void ConvertRows(const uint8_t* const rows[8], size_t offset, uint8_t* samples) {
  for (int r = 0; r < 8; ++r) kConvertLine(rows[r] + offset, samples + 32 * r);
}

// The pair that stands for everything right of the line's end.
std::array<uint8_t, 4> RepeatedPair(const uint8_t* line, int pixels, int luma) {
  const uint8_t* last = line + 4 * ((pixels - 1) / 2);
  const bool whole = pixels % 2 == 0;
  std::array<uint8_t, 4> pair;
  pair[luma] = pair[luma + 2] = last[luma + (whole ? 2 : 0)];
  pair[1 - luma] = last[1 - luma];
  pair[3 - luma] = whole ? last[3 - luma] : 128;
  return pair;
}

}  // namespace

InputConverter SelectInputConverter(PixelFormatCode format) {
  const PixelLayout* layout = FindPixelLayout(format);
  if (layout == nullptr || !layout->encoded) return nullptr;
  switch (layout->kind) {
    case PixelKind::kPackedYuv:
      return layout->luma == 0 ? ConvertRows<ConvertYuyvLine> : ConvertRows<ConvertUyvyLine>;
    case PixelKind::kBgr:
      return BytesPerPixel(format) == 3 ? ConvertRows<ConvertRgbLine<3>>
                                        : ConvertRows<ConvertRgbLine<4>>;
    default:
      return ConvertRows<ConvertRgb555Line>;
  }
}

void PadLine(const uint8_t* line, int pixels, PixelFormatCode format, uint8_t* padded) {
  const int pixel_bytes = static_cast<int>(BytesPerPixel(format));
  std::memcpy(padded, line, static_cast<size_t>(pixels * pixel_bytes));
  const PixelLayout& layout = *FindPixelLayout(format);
  if (layout.kind == PixelKind::kPackedYuv) {
    const std::array<uint8_t, 4> pair = RepeatedPair(line, pixels, layout.luma);
    // A half pair lacks its second chroma byte and its second luma: both come from `pair`.
    for (int at = 2 * pixels; at < 32; ++at) padded[at] = pair[at % 4];
  } else {
    const uint8_t* last = line + (pixels - 1) * pixel_bytes;
    for (int at = pixels; at < 16; ++at) std::copy_n(last, pixel_bytes, padded + at * pixel_bytes);
  }
}

PackedMcu::PackedMcu(const uint8_t* const rgb555_rows[8]) {
  for (int r = 0; r < 8; ++r) {
    for (int k = 0; k < 8; ++k) {
      const std::array<uint8_t, 4> pair = Rgb555Pair(rgb555_rows[r] + 4 * k);
      std::copy(pair.begin(), pair.end(), lines[r] + 4 * k);
    }
    rows[r] = lines[r];
  }
}

PaddedMcu::PaddedMcu(const std::array<const uint8_t*, 8>& band, size_t offset, int pixels,
                     PixelFormatCode format) {
  for (int r = 0; r < 8; ++r) {
    PadLine(band[r] + offset, pixels, format, lines[r]);
    rows[r] = lines[r];
  }
}

}  // namespace tkmjpg
