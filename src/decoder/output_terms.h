// What samples add to B, G and R: the tables of the definition, and the same as multiplications,
// for the fast rows.
#pragma once

#include <array>
#include <cstdint>

namespace tkmjpg {

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

inline constexpr TermTable kBlueChroma = MakeBlueChromaTable();
inline constexpr TermTable kRedChroma = MakeRedChromaTable();
inline constexpr TermTable kLuma601 = MakeLumaTable601();
inline constexpr TermTable kLumaFull = MakeLumaTableFull();

// A term of the sample s, which comes as x = s + the offset of its kind: multiple * x, the whole of
// x * factor / 32768, and the constant.
struct TermRule {
  int multiple, factor, constant;
};
inline constexpr int kLumaOffset = 28, kBlueOffset = 24, kRedOffset = 373;
inline constexpr TermRule kLuma601B{74, 17073, -3248}, kLuma601G{74, 17067, -3248};
inline constexpr TermRule kBlueB{129, 3665, -19624}, kBlueG{-26, 30397, 3811};
inline constexpr TermRule kRedG{-53, 31787, 26067}, kRedR{102, 4971, -51177};
inline constexpr int kFullConstant = 30;  // of full-range luma, whose terms are 64 s

constexpr int Apply(const TermRule& rule, int x) {
  return rule.multiple * x + (x * rule.factor >> 15) + rule.constant;
}

// The tables round towards zero where they truncate: one more than a rounding down up to the sample
// where they reach it, 16 of luma and 127 of chroma.
constexpr bool RulesGiveTheTables() {
  for (int s = 0; s < 256; ++s) {
    const int dark = s <= 16 ? 1 : 0, low = s < 128 ? 1 : 0;
    const int full = 64 * s + kFullConstant, black = s == 0 ? 1 : 0, bright = s > 177 ? 1 : 0;
    const int y = s + kLumaOffset, cb = s + kBlueOffset, cr = s + kRedOffset;
    if (kLuma601[s].b != Apply(kLuma601B, y) + dark || kLuma601[s].g != Apply(kLuma601G, y) ||
        kLuma601[s].r != Apply(kLuma601G, y) + dark || kLumaFull[s].g != full ||
        kLumaFull[s].b != full + black + bright || kLumaFull[s].r != full + black ||
        kBlueChroma[s].b != Apply(kBlueB, cb) + low || kBlueChroma[s].g != Apply(kBlueG, cb) ||
        kRedChroma[s].g != Apply(kRedG, cr) || kRedChroma[s].r != Apply(kRedR, cr) + low) {
      return false;
    }
  }
  return true;
}
static_assert(RulesGiveTheTables());

}  // namespace tkmjpg
