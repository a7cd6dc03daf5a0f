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

// Whether a byte, as one without a sign, is above the limit.
TKMJPG_LANES_INLINE bool AnyByteAbove(Register a, int limit) {
  return _mm512_cmpgt_epu8_mask(a, Bytes(limit)) != 0;
}
// A bit for each of the 64 bytes of a block that is not 0.
TKMJPG_LANES_INLINE uint64_t NonZeroBytes(const Register block[1]) {
  return _mm512_test_epi8_mask(block[0], block[0]);
}

// x + 1 where a > b, else x.
TKMJPG_LANES_INLINE Register AddOneWhereGreater(Register x, Register a, Register b) {
  return _mm512_mask_add_epi16(x, _mm512_cmpgt_epi16_mask(a, b), x, Words(1));
}

// Lane l of each of four registers, for each l.
TKMJPG_LANES_INLINE void GatherLanes(const Register from[4], Register to[4]) {
  const Register a = _mm512_shuffle_i64x2(from[0], from[1], 0x44);
  const Register b = _mm512_shuffle_i64x2(from[2], from[3], 0x44);
  const Register c = _mm512_shuffle_i64x2(from[0], from[1], 0xEE);
  const Register d = _mm512_shuffle_i64x2(from[2], from[3], 0xEE);
  to[0] = _mm512_shuffle_i64x2(a, b, 0x88);
  to[1] = _mm512_shuffle_i64x2(a, b, 0xDD);
  to[2] = _mm512_shuffle_i64x2(c, d, 0x88);
  to[3] = _mm512_shuffle_i64x2(c, d, 0xDD);
}

}  // namespace tkmjpg::avx512

#undef TKMJPG_MM
#undef TKMJPG_MM_BITS
