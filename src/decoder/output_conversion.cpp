#include "decoder/output_conversion.h"

#include <algorithm>
#include <array>

#include "decoder/decoder_kernels.h"

namespace tkmjpg {
namespace {

constexpr int Trunc(double value) { return static_cast<int>(value); }
constexpr int Floor(double value) {
  const int truncated = Trunc(value);
  return truncated > value ? truncated - 1 : truncated;
}

// What a sample adds to B, G and R, in 64ths of a level. The offsets of the luma and chroma tables
// together round to nearest.
struct Terms {
  int16_t b, g, r;
};
using TermTable = std::array<Terms, 256>;

// The chroma gains of ITU-R BT.601 times 64: 2.0174, 0.3918, 0.8130, 1.5961.
constexpr TermTable MakeBlueChromaTable() {
  TermTable table{};
  for (int cb = 0; cb < 256; ++cb) {
    const int d = cb - 128;
    table[cb] = {static_cast<int16_t>(1 + Trunc(129.1115 * d)),
                 static_cast<int16_t>(Floor(-25.0724 * d)), 0};
  }
  return table;
}

constexpr TermTable MakeRedChromaTable() {
  TermTable table{};
  for (int cr = 0; cr < 256; ++cr) {
    const int d = cr - 128;
    table[cr] = {0, static_cast<int16_t>(Floor(-52.0299 * d)),
                 static_cast<int16_t>(1 + Trunc(102.1516 * d))};
  }
  return table;
}

// Luma from 16..235 to 0..255: a gain of 64 x 255 / 219.
constexpr TermTable MakeLumaTable601() {
  TermTable table{};
  for (int y = 0; y < 256; ++y) {
    const int d = y - 16;
    table[y] = {static_cast<int16_t>(31 + Trunc(74.521 * d - 0.07)),
                static_cast<int16_t>(31 + Floor(74.5208 * d - 0.07)),
                static_cast<int16_t>(31 + Trunc(74.5208 * d - 0.07))};
  }
  return table;
}

constexpr TermTable MakeLumaTableFull() {
  TermTable table{};
  for (int y = 0; y < 256; ++y) {
    table[y] = {static_cast<int16_t>(31 + Trunc(64.000394 * y - 0.07)),
                static_cast<int16_t>(31 + Floor(64.0 * y - 0.07)),
                static_cast<int16_t>(31 + Trunc(64.0 * y - 0.07))};
  }
  return table;
}

constexpr TermTable kBlueChroma = MakeBlueChromaTable();
constexpr TermTable kRedChroma = MakeRedChromaTable();
constexpr TermTable kLuma601 = MakeLumaTable601();
constexpr TermTable kLumaFull = MakeLumaTableFull();

// What a sample adds to the three fields of a 16-bit pixel: R in bits 0 to 9, G in bits 10 to 21 in
// quarters of a level, B in bits 22 to 31, each biased by 256 levels in the sum. The largest sums
// are 689, 2583 and 736: no field reaches the next.
using PackedTable = std::array<uint32_t, 256>;

constexpr uint32_t PackFields(int r, int g, int b) {
  return static_cast<uint32_t>(r) | static_cast<uint32_t>(g) << 10 | static_cast<uint32_t>(b) << 22;
}

constexpr PackedTable MakePackedLumaTable() {
  PackedTable table{};
  for (int y = 0; y < 256; ++y) {
    const int level = std::max(y - 1, 0);
    table[y] = PackFields(level, Floor(3.987 * y + 0.86), level);
  }
  return table;
}

constexpr PackedTable MakePackedBlueChromaTable() {
  PackedTable table{};
  for (int cb = 0; cb < 256; ++cb) {
    const int d = cb - 128;
    table[cb] = PackFields(0, Floor(-1.3817 * d + 512.003), 257 + Trunc(1.7778 * d));
  }
  return table;
}

constexpr PackedTable MakePackedRedChromaTable() {
  PackedTable table{};
  for (int cr = 0; cr < 256; ++cr) {
    const int d = cr - 128;
    table[cr] = PackFields(257 + Trunc(1.4092 * d), Floor(-2.8603 * d + 512.003), 0);
  }
  return table;
}

constexpr PackedTable kPackedLuma = MakePackedLumaTable();
constexpr PackedTable kPackedBlueChroma = MakePackedBlueChromaTable();
constexpr PackedTable kPackedRedChroma = MakePackedRedChromaTable();

// A biased level, [0, 1023], to the 5 or 6 bits of a 16-bit pixel. Six bits never give 1.
uint32_t FiveBits(uint32_t level) {
  return static_cast<uint32_t>(std::clamp((static_cast<int>(level) - 252) >> 3, 0, 31));
}
uint32_t SixBits(uint32_t level) { return level < 260 ? 0 : std::min((level - 252) >> 2, 63U); }

// One pixel pair: its two luma samples and the chroma that it shares.
struct PairSamples {
  uint8_t y0, y1, cb, cr;
};

uint8_t LimitLuma(uint8_t y) { return std::clamp<uint8_t>(y, 16, 235); }

template <bool kLimit, bool kChromaFirst>
struct PackedYuvWriter {
  static constexpr int kPairBytes = 4;
  static void Write(const PairSamples& pair, uint8_t* out) {
    constexpr int kLuma = kChromaFirst ? 1 : 0;
    out[kLuma] = kLimit ? LimitLuma(pair.y0) : pair.y0;
    out[kLuma + 2] = kLimit ? LimitLuma(pair.y1) : pair.y1;
    out[1 - kLuma] = pair.cb;
    out[3 - kLuma] = pair.cr;
  }
};

uint8_t Level(int sum) { return static_cast<uint8_t>(std::clamp(sum >> 6, 0, 255)); }

// Sums of three terms lie within [-17686, 34239].
template <const TermTable& kLuma, int kPixelBytes, uint8_t kLastByte>
struct BgrWriter {
  static constexpr int kPairBytes = 2 * kPixelBytes;
  static void WritePixel(uint8_t y, const Terms& cb, const Terms& cr, uint8_t* out) {
    out[0] = Level(kLuma[y].b + cb.b + cr.b);
    out[1] = Level(kLuma[y].g + cb.g + cr.g);
    out[2] = Level(kLuma[y].r + cb.r + cr.r);
    if constexpr (kPixelBytes == 4) out[3] = kLastByte;
  }
  static void Write(const PairSamples& pair, uint8_t* out) {
    WritePixel(pair.y0, kBlueChroma[pair.cb], kRedChroma[pair.cr], out);
    WritePixel(pair.y1, kBlueChroma[pair.cb], kRedChroma[pair.cr], out + kPixelBytes);
  }
};

template <bool kSixBitGreen>
struct Rgb16Writer {
  static constexpr int kPairBytes = 4;
  static void WritePixel(uint32_t sum, uint8_t* out) {
    const uint32_t r = FiveBits(sum & 0x3FF), b = FiveBits(sum >> 22);
    const uint32_t green = (sum >> 12) & 0x3FF;  // the two fractional bits drop off here
    const uint32_t word =
        kSixBitGreen ? r << 11 | SixBits(green) << 5 | b : r << 10 | FiveBits(green) << 5 | b;
    out[0] = static_cast<uint8_t>(word);
    out[1] = static_cast<uint8_t>(word >> 8);
  }
  static void Write(const PairSamples& pair, uint8_t* out) {
    const uint32_t chroma = kPackedBlueChroma[pair.cb] + kPackedRedChroma[pair.cr];
    WritePixel(chroma + kPackedLuma[pair.y0], out);
    WritePixel(chroma + kPackedLuma[pair.y1], out + 2);
  }
};

template <typename Writer>
void ConvertRows(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  for (int r = 0; r < row_count; ++r) {
    for (int k = 0; k < 8; ++k) {
      const uint8_t* luma = blocks + 64 * (k / 4) + 8 * r + (2 * k) % 8;
      const uint8_t* chroma = blocks + 128 + 8 * r + k;
      Writer::Write({luma[0], luma[1], chroma[0], chroma[64]}, rows[r]);
      rows[r] += Writer::kPairBytes;
    }
  }
}

}  // namespace

void ConvertMcuToYuyv(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<PackedYuvWriter<true, false>>(rows, blocks, row_count);
}
void ConvertMcuToYuyvFull(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<PackedYuvWriter<false, false>>(rows, blocks, row_count);
}
void ConvertMcuToUyvy(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<PackedYuvWriter<true, true>>(rows, blocks, row_count);
}
void ConvertMcuToUyvyFull(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<PackedYuvWriter<false, true>>(rows, blocks, row_count);
}
void ConvertMcuToBgr24(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<BgrWriter<kLuma601, 3, 0>>(rows, blocks, row_count);
}
void ConvertMcuToBgr24Full(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<BgrWriter<kLumaFull, 3, 0>>(rows, blocks, row_count);
}
void ConvertMcuToBgrx32(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<BgrWriter<kLuma601, 4, 0>>(rows, blocks, row_count);
}
void ConvertMcuToBgrx32Full(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<BgrWriter<kLumaFull, 4, 0>>(rows, blocks, row_count);
}
void ConvertMcuToBgra32(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<BgrWriter<kLuma601, 4, 255>>(rows, blocks, row_count);
}
void ConvertMcuToBgra32Full(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<BgrWriter<kLumaFull, 4, 255>>(rows, blocks, row_count);
}
void ConvertMcuToRgb555(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<Rgb16Writer<false>>(rows, blocks, row_count);
}
void ConvertMcuToRgb565(uint8_t* rows[8], const uint8_t* blocks, int row_count) {
  ConvertRows<Rgb16Writer<true>>(rows, blocks, row_count);
}
void ConvertMcuToNothing(uint8_t**, const uint8_t*, int) {}

McuConverter SelectMcuConverter(const DecoderKernels& kernels, PixelFormatCode format) {
  switch (format) {
    case PixelFormatCode::kYuyv:
      return kernels.convert_yuyv;
    case PixelFormatCode::kYuyvFull:
      return kernels.convert_yuyv_full;
    case PixelFormatCode::kUyvy:
      return kernels.convert_uyvy;
    case PixelFormatCode::kUyvyFull:
      return kernels.convert_uyvy_full;
    case PixelFormatCode::kBgr24:
      return kernels.convert_bgr24;
    case PixelFormatCode::kBgr24Full:
      return kernels.convert_bgr24_full;
    case PixelFormatCode::kBgrx32:
      return kernels.convert_bgrx32;
    case PixelFormatCode::kBgrx32Full:
      return kernels.convert_bgrx32_full;
    case PixelFormatCode::kBgra32:
      return kernels.convert_bgra32;
    case PixelFormatCode::kBgra32Full:
      return kernels.convert_bgra32_full;
    case PixelFormatCode::kRgb555:
      return kernels.convert_rgb555;
    case PixelFormatCode::kRgb565:
      return kernels.convert_rgb565;
    default:
      return ConvertMcuToNothing;
  }
}

PixelFormatCode FullRangeVariant(PixelFormatCode format) {
  switch (format) {
    case PixelFormatCode::kYuyv:
      return PixelFormatCode::kYuyvFull;
    case PixelFormatCode::kUyvy:
      return PixelFormatCode::kUyvyFull;
    case PixelFormatCode::kBgr24:
      return PixelFormatCode::kBgr24Full;
    case PixelFormatCode::kBgrx32:
      return PixelFormatCode::kBgrx32Full;
    case PixelFormatCode::kBgra32:
      return PixelFormatCode::kBgra32Full;
    default:
      return format;
  }
}

}  // namespace tkmjpg
