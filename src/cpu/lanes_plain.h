// Lanes of 128 bits in plain C++, over the vectors of the compiler: whatever the processor has in
// its base serves them.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "cpu/targets.h"

#define TKMJPG_LANES_TARGET
#define TKMJPG_LANES_INLINE TKMJPG_ALWAYS_INLINE

namespace tkmjpg::plain {

using Register = int16_t __attribute__((vector_size(16)));
inline constexpr int kLanes = 1;

#include "cpu/lanes_vector.inc"

// --- Words --------------------------------------------------------------------------------------

TKMJPG_LANES_INLINE Register AddSaturated(Register a, Register b) {
  const Register sum = Add(a, b), overflow = ~(a ^ b) & (a ^ sum);
  return overflow < 0 ? (a >> 15) ^ Words(0x7FFF) : sum;
}
TKMJPG_LANES_INLINE Register SubToZero(Register a, Register b) {
  return Unsigned(a) > Unsigned(b) ? Sub(a, b) : Zero();
}
// The high half of a signed product, rounded towards minus infinity. The compiler knows the loop.
TKMJPG_LANES_INLINE Register MulHigh(Register a, Register b) {
  Register high;
#pragma GCC unroll 1
  for (int i = 0; i < 8; ++i) high[i] = static_cast<int16_t>(a[i] * b[i] >> 16);
  return high;
}
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHigh(Register a) {
  return MulHigh(a, Words(kFactor));
}
// The high half of an unsigned product.
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHighUnsigned(Register a) {
  const UnsignedWords x = Unsigned(a), factors = Unsigned(Words(kFactor));
  UnsignedWords high;
#pragma GCC unroll 1
  for (int i = 0; i < 8; ++i) {
    high[i] = static_cast<uint16_t>(uint32_t{x[i]} * uint32_t{factors[i]} >> 16);
  }
  return Signed(high);
}
TKMJPG_LANES_INLINE Register Abs(Register a) { return a < 0 ? -a : a; }
TKMJPG_LANES_INLINE Register AbsBytes(Register a) {
  const auto bytes = AsBytes(a);  // -128 becomes 128
  return Signed(bytes > uint8_t{127} ? -bytes : bytes);
}
// Whether a byte, as one without a sign, is above the limit.
TKMJPG_LANES_INLINE bool AnyByteAbove(Register a, int limit) {
  const auto above = AsBytes(a) > AsBytes(Bytes(limit));
  uint64_t halves[2];
  std::memcpy(halves, &above, sizeof halves);
  return (halves[0] | halves[1]) != 0;
}
// A bit for each of the 64 bytes of a block that is not 0: each byte keeps its bit, and a product
// sums eight of them.
TKMJPG_LANES_INLINE uint64_t NonZeroBytes(const Register block[4]) {
  uint64_t bits = 0;
  for (int i = 0; i < 4; ++i) {
    const auto nonzero = AsBytes(block[i]) != 0;
    uint64_t halves[2];
    std::memcpy(halves, &nonzero, sizeof halves);
    for (int h = 0; h < 2; ++h) {
      const uint64_t kept = halves[h] & 0x8040201008040201;
      bits |= kept * 0x0101010101010101 >> 56 << (16 * i + 8 * h);
    }
  }
  return bits;
}

// --- Two registers to one -----------------------------------------------------------------------

TKMJPG_LANES_INLINE Register EvenBytes(Register a, Register b) {
  return Signed(__builtin_shufflevector(AsBytes(a), AsBytes(b), 0, 2, 4, 6, 8, 10, 12, 14,  //
                                        16, 18, 20, 22, 24, 26, 28, 30));
}
TKMJPG_LANES_INLINE Register Limited(Register a, int low, int high) {
  const Register above = a > Words(low) ? a : Words(low);
  return above < Words(high) ? above : Words(high);
}
TKMJPG_LANES_INLINE Register PackSigned(Register a, Register b) {
  return EvenBytes(Limited(a, -128, 127), Limited(b, -128, 127));
}
TKMJPG_LANES_INLINE Register PackUnsigned(Register a, Register b) {
  return EvenBytes(Limited(a, 0, 255), Limited(b, 0, 255));
}
// Sums of pairs of words: four of a, four of b.
TKMJPG_LANES_INLINE Register PairSums(Register a, Register b) {
  const Register words[2] = {a, b};
  Register parts[2];
  SplitAlternating(words, parts);
  return Add(parts[0], parts[1]);
}
#include "cpu/lanes_derived.inc"

// Drops the fourth bytes of 16 pixels: three registers.
TKMJPG_LANES_INLINE void DropFourth(Register p[4]) {
  uint8_t from[64], to[64];
  for (int i = 0; i < 4; ++i) Store(from + 16 * i, p[i]);
  for (int x = 0; x < 16; ++x) std::memcpy(to + 3 * x, from + 4 * x, 4);
  for (int i = 0; i < 3; ++i) p[i] = Load(to + 16 * i);
}

}  // namespace tkmjpg::plain
