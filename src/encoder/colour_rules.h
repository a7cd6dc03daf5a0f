// The tables of input_conversion.cpp as multiplications, for the fast row encoders: rules that give
// the table's value for each of the 256 inputs.
#pragma once

#include <cstdint>

namespace tkmjpg {

// A colour times a decimal fraction, floored, as the high half of one product: value 256 i + bias
// times the factor is the fraction in units of 2^-fraction.
struct ColourRule {
  uint32_t factor;
  uint32_t bias;      // the low byte under the colour
  uint32_t less;      // subtracted before the fraction is dropped, never below 0
  uint32_t fraction;  // bits
};
inline constexpr ColourRule kLumaR{16846, 133, 0, 6}, kLumaG{33078, 0, 0, 6}, kLumaB{6430, 0, 0, 6};
inline constexpr ColourRule kCbR{19433, 0, 0, 7}, kCbG{38143, 0, 0, 7}, kCbB{57562, 0, 0, 7};
inline constexpr ColourRule kCrR{57509, 0, 0, 7}, kCrG{48222, 0, 6, 7}, kCrB{9333, 0, 0, 7};

constexpr uint32_t Apply(const ColourRule& rule, uint32_t i) {
  const uint32_t product = (256 * i + rule.bias) * rule.factor >> 16;
  return (product < rule.less ? 0 : product - rule.less) >> rule.fraction;
}

// floor((numerator i + offset) / denominator), the form in which the definition has them.
constexpr bool RuleHolds(const ColourRule& rule, int numerator, int offset, int denominator) {
  for (int i = 0; i < 256; ++i) {
    const int exact = numerator * i + offset;
    const uint32_t wanted = exact < 0 ? 0 : static_cast<uint32_t>(exact / denominator);
    if (Apply(rule, static_cast<uint32_t>(i)) != wanted) return false;
  }
  return true;
}
static_assert(RuleHolds(kLumaR, 10281, 5500, 10000) && RuleHolds(kLumaG, 20188, 200, 10000) &&
              RuleHolds(kLumaB, 3924, 100, 10000));
static_assert(RuleHolds(kCbR, 593, 10, 1000) && RuleHolds(kCbG, 1164, 5, 1000) &&
              RuleHolds(kCbB, 17567, 0, 10000));
static_assert(RuleHolds(kCrR, 17551, 0, 10000) && RuleHolds(kCrG, 147164, -5000, 100000) &&
              RuleHolds(kCrB, 2848, 50, 10000));

}  // namespace tkmjpg
