// Lanes of 128 bits: SSSE3 and SSE4.1.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <utility>

#include "cpu/targets.h"

#define TKMJPG_LANES_TARGET TKMJPG_TARGET_SSE4
#define TKMJPG_LANES_INLINE TKMJPG_TARGET_SSE4 TKMJPG_ALWAYS_INLINE
#define TKMJPG_MM(name) _mm_##name
#define TKMJPG_MM_BITS(name) _mm_##name##_si128

namespace tkmjpg::sse4 {

using Register = __m128i;
inline constexpr int kLanes = 1;

#include "cpu/lanes_x86.inc"

// `a`, negated where `sign` is negative. Where `sign` is 0, `a` must be.
TKMJPG_LANES_INLINE Register ApplySign(Register a, Register sign) {
  return _mm_sign_epi16(a, sign);
}

// Whether a byte, as one without a sign, is above the limit.
TKMJPG_LANES_INLINE bool AnyByteAbove(Register a, int limit) {
  const Register excess = _mm_subs_epu8(a, Bytes(limit));
  return _mm_testz_si128(excess, excess) == 0;
}
// A bit for each of the 64 bytes of a block that is not 0.
TKMJPG_LANES_INLINE uint64_t NonZeroBytes(const Register block[4]) {
  uint64_t zeros = 0;
  for (int i = 0; i < 4; ++i) {
    const int bits = _mm_movemask_epi8(_mm_cmpeq_epi8(block[i], Zero()));
    zeros |= static_cast<uint64_t>(static_cast<uint32_t>(bits)) << (16 * i);
  }
  return ~zeros;
}
// Word 0, 2, 4, 6 of a lane, then the others.
alignas(16) inline constexpr int8_t kEvenFirst[16] = {0, 1, 4, 5, 8,  9,  12, 13,
                                                      2, 3, 6, 7, 10, 11, 14, 15};
// To a block each: words that alternate between two blocks.
TKMJPG_LANES_INLINE void SplitAlternating(const Register words[2], Register blocks[2]) {
  const Register a = Shuffle(words[0], Load(kEvenFirst)), b = Shuffle(words[1], Load(kEvenFirst));
  blocks[0] = UnpackLow64(a, b);
  blocks[1] = UnpackHigh64(a, b);
}
TKMJPG_LANES_INLINE Register LoadLanes(const uint8_t* from, size_t /*step*/) { return Load(from); }

// x + 1 where a > b, else x.
TKMJPG_LANES_INLINE Register AddOneWhereGreater(Register x, Register a, Register b) {
  return Sub(x, _mm_cmpgt_epi16(a, b));
}
// The bytes of a lane, moved up or down with zeros in their place.
template <int kBytes>
TKMJPG_LANES_INLINE Register MoveUp(Register a) {
  return _mm_slli_si128(a, kBytes);
}
template <int kBytes>
TKMJPG_LANES_INLINE Register MoveDown(Register a) {
  return _mm_srli_si128(a, kBytes);
}

// Lane l of each of four registers, for each l.
TKMJPG_LANES_INLINE void GatherLanes(const Register from[4], Register to[4]) {
  for (int i = 0; i < 4; ++i) to[i] = from[i];
}

#include "cpu/lanes_one.inc"
#include "cpu/lanes_x86_bytes.inc"

}  // namespace tkmjpg::sse4

#undef TKMJPG_MM
#undef TKMJPG_MM_BITS
