// What the colours of RGB add to luma and chroma: the tables of the definition, and the same as
// multiplications, for the fast rows.
#pragma once

#include <array>
#include <cstdint>

namespace tkmjpg {

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

inline constexpr RgbFieldTable kRed = MakeRedTable();
inline constexpr RgbFieldTable kGreen = MakeGreenTable();
inline constexpr RgbFieldTable kBlue = MakeBlueTable();

// A part without its offset in the table as the high half of one product: for the value i of the
// colour, (i x factor / 256 + add) / 2^fraction, floored each time and never below 0.
struct RgbRule {
  uint32_t factor;
  int32_t add;
  uint32_t fraction;
};
inline constexpr RgbRule kLumaR{16845, 35, 6}, kLumaG{33078, 0, 6}, kLumaB{6430, 0, 6};
inline constexpr RgbRule kCbR{19433, 0, 7}, kCbG{38143, 0, 7}, kCbB{28781, 0, 6};
inline constexpr RgbRule kCrR{28755, 0, 6}, kCrG{24111, -3, 6}, kCrB{9333, 0, 7};

// The offsets of the tables, summed: luma of a pixel, either chroma of a pixel.
inline constexpr int kLumaOffset = 2 + 64, kChromaOffset = 192 + 320 + 1;
static_assert(kChromaOffset == 1 + 384 + 128);

constexpr int32_t Apply(const RgbRule& rule, int32_t i) {
  const int32_t sum = static_cast<int32_t>(static_cast<uint32_t>(i) * rule.factor >> 8) + rule.add;
  return (sum < 0 ? 0 : sum) >> rule.fraction;
}

constexpr bool RulesGiveTheTables() {
  for (int32_t i = 0; i < 256; ++i) {
    if (kRed[i] != PackFields(2 + Apply(kLumaR, i), 192 - Apply(kCbR, i), 1 + Apply(kCrR, i)) ||
        kGreen[i] !=
            PackFields(64 + Apply(kLumaG, i), 320 - Apply(kCbG, i), 384 - Apply(kCrG, i)) ||
        kBlue[i] != PackFields(Apply(kLumaB, i), 1 + Apply(kCbB, i), 128 - Apply(kCrB, i))) {
      return false;
    }
  }
  return true;
}
static_assert(RulesGiveTheTables());

}  // namespace tkmjpg
