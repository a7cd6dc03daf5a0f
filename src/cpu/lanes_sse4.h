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

// The same 16 bytes in each lane.
TKMJPG_LANES_INLINE Register LoadSame(const void* from) {
  const __m128i lane = _mm_loadu_si128(static_cast<const __m128i*>(from));
  return lane;
}

// `a`, negated where `sign` is negative. Where `sign` is 0, `a` must be.
TKMJPG_LANES_INLINE Register ApplySign(Register a, Register sign) {
  return _mm_sign_epi16(a, sign);
}

// Whether a word has a bit of the mask.
TKMJPG_LANES_INLINE bool HasBits(Register a, Register mask) {
  return _mm_testz_si128(a, mask) == 0;
}
// Word 0, 2, 4, 6 of a lane, then the others.
alignas(16) inline constexpr int8_t kEvenFirst[16] = {0, 1, 4, 5, 8,  9,  12, 13,
                                                      2, 3, 6, 7, 10, 11, 14, 15};
// To a block each: words that alternate between two blocks; four words of one and four of the
// other.
TKMJPG_LANES_INLINE void SplitAlternating(const Register words[2], Register blocks[2]) {
  const Register a = Shuffle(words[0], Load(kEvenFirst)), b = Shuffle(words[1], Load(kEvenFirst));
  blocks[0] = UnpackLow64(a, b);
  blocks[1] = UnpackHigh64(a, b);
}
TKMJPG_LANES_INLINE void SplitHalves(const Register words[2], Register blocks[2]) {
  blocks[0] = UnpackLow64(words[0], words[1]);
  blocks[1] = UnpackHigh64(words[0], words[1]);
}
TKMJPG_LANES_INLINE void ExchangeBlocks(Register blocks[2]) { std::swap(blocks[0], blocks[1]); }
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

TKMJPG_LANES_INLINE void StoreLane(void* to, Register x, int /*lane*/) { Store(to, x); }

}  // namespace tkmjpg::sse4

#undef TKMJPG_MM
#undef TKMJPG_MM_BITS
