#include "tools/tkmjpg/media/sample_range.h"

#include <algorithm>

namespace tkmjpg::tool {
namespace {

struct Scale {
  int zero, span;  // the sample that stays in its place, and how far samples reach
};

constexpr std::array<uint8_t, 256> MakeTable(Scale from, Scale to) {
  std::array<uint8_t, 256> table{};
  for (int i = 0; i < 256; ++i) {
    const int twice = 2 * (i - from.zero) * to.span;  // [-65280, 121890]
    const int half = twice < 0 ? -from.span : from.span;
    table[static_cast<size_t>(i)] =
        static_cast<uint8_t>(std::clamp((twice + half) / (2 * from.span) + to.zero, 0, 255));
  }
  return table;
}

constexpr RangeTables kToFull = {MakeTable({16, 219}, {0, 255}), MakeTable({128, 224}, {128, 255})};
constexpr RangeTables kToLimited = {MakeTable({0, 255}, {16, 219}),
                                    MakeTable({128, 255}, {128, 224})};

// ITU-R BT.601 as JFIF has it, in 65536ths. A pair's chroma is the mean of its pixels'.
struct Sums {
  int y, cb, cr;
};

Sums SumsOf(const uint8_t* p) {
  const int b = p[0], g = p[1], r = p[2];
  return {19595 * r + 38470 * g + 7471 * b,  // [0, 255 x 65536]
          -11059 * r - 21709 * g + 32768 * b, 32768 * r - 27439 * g - 5329 * b};
}

uint8_t Sample(int sum, int offset) {
  return static_cast<uint8_t>(std::clamp((sum + offset * 65536 + 32768) >> 16, 0, 255));
}

}  // namespace

const RangeTables& TablesTo(Range range) { return range == Range::kFull ? kToFull : kToLimited; }

void ChangeSamples(const std::array<uint8_t, 256>& table, std::span<uint8_t> samples) {
  for (uint8_t& sample : samples) sample = table[sample];
}

void ChangePackedRange(Range to, FirstSample first, std::span<uint8_t> pixels) {
  const RangeTables& tables = TablesTo(to);
  const bool luma = first == FirstSample::kLuma;
  const auto &even = luma ? tables.luma : tables.chroma, &odd = luma ? tables.chroma : tables.luma;
  for (size_t i = 0; i + 1 < pixels.size(); i += 2) {
    pixels[i] = even[pixels[i]];
    pixels[i + 1] = odd[pixels[i + 1]];
  }
}

void BgrLineToFullYuy2(const uint8_t* bgr, int pixel_bytes, int width, uint8_t* yuy2) {
  for (int x = 0; x < width; x += 2) {
    const uint8_t* first = bgr + ptrdiff_t{x} * pixel_bytes;
    const Sums a = SumsOf(first), b = SumsOf(x + 1 < width ? first + pixel_bytes : first);
    yuy2[0] = Sample(a.y, 0);
    yuy2[1] = Sample((a.cb + b.cb) / 2, 128);
    yuy2[2] = Sample(b.y, 0);
    yuy2[3] = Sample((a.cr + b.cr) / 2, 128);
    yuy2 += 4;
  }
}

void R555ToBgr(std::span<const uint8_t> words, uint8_t* bgr) {
  for (size_t i = 0; i + 1 < words.size(); i += 2) {
    const int word = words[i] | words[i + 1] << 8;
    for (int part = 0; part < 3; ++part) {
      const int five = word >> (5 * part) & 31;
      *bgr++ = static_cast<uint8_t>(five << 3 | five >> 2);
    }
  }
}

}  // namespace tkmjpg::tool
