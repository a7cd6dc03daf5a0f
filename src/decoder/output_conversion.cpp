#include "decoder/output_conversion.h"

#include <algorithm>
#include <array>

#include "decoder/output_terms.h"

namespace tkmjpg {
namespace {

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
void ConvertRows(uint8_t* const rows[8], size_t offset, const uint8_t* blocks, int row_count) {
  for (int r = 0; r < row_count; ++r) {
    for (int k = 0; k < 8; ++k) {
      const uint8_t* luma = blocks + 64 * (k / 4) + 8 * r + (2 * k) % 8;
      const uint8_t* chroma = blocks + 128 + 8 * r + k;
      Writer::Write({luma[0], luma[1], chroma[0], chroma[64]},
                    rows[r] + offset + Writer::kPairBytes * k);
    }
  }
}

template <const TermTable& kLuma>
McuConverter SelectBgr(const PixelLayout& layout) {
  if (BytesPerPixel(layout.code) == 3) return ConvertRows<BgrWriter<kLuma, 3, 0>>;
  return layout.last_byte == 0 ? ConvertRows<BgrWriter<kLuma, 4, 0>>
                               : ConvertRows<BgrWriter<kLuma, 4, 255>>;
}

template <bool kLimit>
McuConverter SelectPackedYuv(const PixelLayout& layout) {
  return layout.luma == 0 ? ConvertRows<PackedYuvWriter<kLimit, false>>
                          : ConvertRows<PackedYuvWriter<kLimit, true>>;
}

}  // namespace

McuConverter SelectMcuConverter(PixelFormatCode format) {
  const PixelLayout* layout = FindPixelLayout(format);
  if (layout == nullptr || !layout->decoded) return nullptr;
  const bool full_range = layout->code == layout->full_range;
  switch (layout->kind) {
    case PixelKind::kPackedYuv:
      return full_range ? SelectPackedYuv<false>(*layout) : SelectPackedYuv<true>(*layout);
    case PixelKind::kBgr:
      return full_range ? SelectBgr<kLumaFull>(*layout) : SelectBgr<kLuma601>(*layout);
    default:
      return format == PixelFormatCode::kRgb565 ? ConvertRows<Rgb16Writer<true>>
                                                : ConvertRows<Rgb16Writer<false>>;
  }
}

}  // namespace tkmjpg
