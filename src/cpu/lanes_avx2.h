// Lanes of 256 bits: AVX2.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/targets.h"

#define TKMJPG_LANES_TARGET TKMJPG_TARGET_AVX2
#define TKMJPG_LANES_INLINE TKMJPG_TARGET_AVX2 TKMJPG_ALWAYS_INLINE
#define TKMJPG_MM(name) _mm256_##name
#define TKMJPG_MM_BITS(name) _mm256_##name##_si256

namespace tkmjpg::avx2 {

using Register = __m256i;
inline constexpr int kLanes = 2;

#include "cpu/lanes_x86.inc"

// The same 16 bytes in each lane.
TKMJPG_LANES_INLINE Register LoadSame(const void* from) {
  const __m128i lane = _mm_loadu_si128(static_cast<const __m128i*>(from));
  return _mm256_broadcastsi128_si256(lane);
}

// `a`, negated where `sign` is negative. Where `sign` is 0, `a` must be.
TKMJPG_LANES_INLINE Register ApplySign(Register a, Register sign) {
  return _mm256_sign_epi16(a, sign);
}

}  // namespace tkmjpg::avx2

#undef TKMJPG_MM
#undef TKMJPG_MM_BITS
