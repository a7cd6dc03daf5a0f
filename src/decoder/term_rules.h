// The RGB tables of output_conversion.cpp as multiplications, for the fast writers: rules that give
// the table's value for each of the 256 samples.
#pragma once

#include <cstdint>

namespace tkmjpg {

// A term of output_conversion.cpp: the high half of 256 x multiple x, and that of factor x less its
// lowest `fraction` bits, and the constant, where x is 256 s + bias for the sample s or, where the
// gain is negative, for 255 - s. So it takes no more than two multiplications of words.
struct TermRule {
  int multiple, factor, bias, fraction, constant;
};
inline constexpr TermRule kLuma601B{72, 20652, 60, 5, -1178}, kLuma601G{72, 20651, 60, 5, -1178};
inline constexpr TermRule kBlueB{65, 32825, 3, 1, -16526}, kBlueG{23, 16977, 100, 5, -3193};
inline constexpr TermRule kRedG{51, 8437, 51, 5, -6618}, kRedR{98, 34011, 36, 5, -13088};

constexpr int Apply(const TermRule& rule, int s) {
  const auto x = static_cast<uint32_t>(256 * s + rule.bias);
  const uint32_t whole = x * static_cast<uint32_t>(256 * rule.multiple) >> 16;
  const uint32_t part = x * static_cast<uint32_t>(rule.factor) >> 16 >> rule.fraction;
  return static_cast<int>(whole + part) + rule.constant;
}

constexpr int Trunc(double value) { return static_cast<int>(value); }
constexpr int Floor(double value) { return Trunc(value) > value ? Trunc(value) - 1 : Trunc(value); }

// The luma tables round towards zero, which lies at 16, the chroma tables' B and R at 128: one more
// below it than a rounding down.
constexpr bool RulesHold() {
  for (int s = 0; s < 256; ++s) {
    const int y = s - 16, d = s - 128;
    if (Apply(kLuma601B, s) + (s <= 16 ? 1 : 0) != 31 + Trunc(74.521 * y - 0.07)) return false;
    if (Apply(kLuma601G, s) != 31 + Floor(74.5208 * y - 0.07)) return false;
    if (Apply(kLuma601G, s) + (s <= 16 ? 1 : 0) != 31 + Trunc(74.5208 * y - 0.07)) return false;
    if (Apply(kBlueB, s) + (s < 128 ? 1 : 0) != 1 + Trunc(129.1115 * d)) return false;
    if (Apply(kBlueG, 255 - s) != Floor(-25.0724 * d)) return false;
    if (Apply(kRedG, 255 - s) != Floor(-52.0299 * d)) return false;
    if (Apply(kRedR, s) + (s < 128 ? 1 : 0) != 1 + Trunc(102.1516 * d)) return false;
    if (64 * s + 30 + (s >= 178 || s == 0 ? 1 : 0) != 31 + Trunc(64.000394 * s - 0.07))
      return false;
    if (64 * s + 30 != 31 + Floor(64.0 * s - 0.07)) return false;
    if (64 * s + 30 + (s == 0 ? 1 : 0) != 31 + Trunc(64.0 * s - 0.07)) return false;
  }
  return true;
}
static_assert(RulesHold());
static_assert(kLuma601B.bias == kLuma601G.bias);

}  // namespace tkmjpg
