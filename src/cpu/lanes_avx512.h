// Lanes of 512 bits: AVX-512 with its byte permutations.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/targets.h"

#define TKMJPG_LANES_TARGET TKMJPG_TARGET_AVX512
#define TKMJPG_LANES_INLINE TKMJPG_TARGET_AVX512 TKMJPG_ALWAYS_INLINE
#define TKMJPG_MM(name) _mm512_##name
#define TKMJPG_MM_BITS(name) _mm512_##name##_si512

namespace tkmjpg::avx512 {

using Register = __m512i;
inline constexpr int kLanes = 4;

#include "cpu/lanes_x86.inc"

// The same 16 bytes in each lane.
TKMJPG_LANES_INLINE Register LoadSame(const void* from) {
  const __m128i lane = _mm_loadu_si128(static_cast<const __m128i*>(from));
  return _mm512_broadcast_i32x4(lane);
}

// `a`, negated where `sign` is negative. Where `sign` is 0, `a` must be.
TKMJPG_LANES_INLINE Register ApplySign(Register a, Register sign) {
  return _mm512_mask_sub_epi16(a, _mm512_movepi16_mask(sign), Zero(), a);
}

// Whether a word has a bit of the mask.
TKMJPG_LANES_INLINE bool HasBits(Register a, Register mask) {
  return _mm512_test_epi16_mask(a, mask) != 0;
}

// x + 1 where a > b, else x.
TKMJPG_LANES_INLINE Register AddOneWhereGreater(Register x, Register a, Register b) {
  return _mm512_mask_add_epi16(x, _mm512_cmpgt_epi16_mask(a, b), x, Words(1));
}

}  // namespace tkmjpg::avx512

#undef TKMJPG_MM
#undef TKMJPG_MM_BITS
