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

// A term as two high halves of products: for the sample s, multiple x s, and of s x factor / 256
// the whole 2^fraction, `add` added before; and the constant. Each rounds down. A term with a
// negative gain is that of 255 - s.
struct TermRule {
  int multiple, factor, add, fraction, constant;
};
inline constexpr TermRule kLuma601B{72, 20652, 19, 5, -1162}, kLuma601G{72, 20651, 19, 5, -1162};
inline constexpr TermRule kBlueB{101, 28786, 3, 2, -16526}, kBlueG{25, 4741, 209, 8, -3185};
inline constexpr TermRule kRedG{51, 16874, 13, 6, -6608}, kRedR{100, 17626, 19, 5, -13075};
inline constexpr int kFullConstant = 30;  // of full-range luma, whose terms are 64 s

constexpr int Apply(const TermRule& rule, int s) {
  return rule.multiple * s + (((s * rule.factor >> 8) + rule.add) >> rule.fraction) + rule.constant;
}

// The tables round towards zero where they truncate: one more than a rounding down up to the sample
// where they reach it, 16 of luma and 127 of chroma.
constexpr bool RulesGiveTheTables() {
  for (int s = 0; s < 256; ++s) {
    const int dark = s <= 16 ? 1 : 0, low = s < 128 ? 1 : 0;
    const int full = 64 * s + kFullConstant, black = s == 0 ? 1 : 0, bright = s > 177 ? 1 : 0;
    if (kLuma601[s].b != Apply(kLuma601B, s) + dark || kLuma601[s].g != Apply(kLuma601G, s) ||
        kLuma601[s].r != Apply(kLuma601G, s) + dark || kLumaFull[s].g != full ||
        kLumaFull[s].b != full + black + bright || kLumaFull[s].r != full + black ||
        kBlueChroma[s].b != Apply(kBlueB, s) + low || kBlueChroma[s].g != Apply(kBlueG, 255 - s) ||
        kRedChroma[s].g != Apply(kRedG, 255 - s) || kRedChroma[s].r != Apply(kRedR, s) + low) {
      return false;
    }
  }
  return true;
}
static_assert(RulesGiveTheTables());

}  // namespace tkmjpg
