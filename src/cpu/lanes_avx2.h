// Lanes of 256 bits: AVX2.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <immintrin.h>

#include <cstddef>
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

// Whether a byte, as one without a sign, is above the limit.
TKMJPG_LANES_INLINE bool AnyByteAbove(Register a, int limit) {
  const Register excess = _mm256_subs_epu8(a, Bytes(limit));
  return _mm256_testz_si256(excess, excess) == 0;
}
// A bit for each of the 64 bytes of a block that is not 0.
TKMJPG_LANES_INLINE uint64_t NonZeroBytes(const Register block[2]) {
  const int low = _mm256_movemask_epi8(_mm256_cmpeq_epi8(block[0], Zero()));
  const int high = _mm256_movemask_epi8(_mm256_cmpeq_epi8(block[1], Zero()));
  return ~(static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32 | static_cast<uint32_t>(low));
}
// Word 0, 2, 4, 6 of a lane, then the others.
alignas(16) inline constexpr int8_t kEvenFirst[16] = {0, 1, 4, 5, 8,  9,  12, 13,
                                                      2, 3, 6, 7, 10, 11, 14, 15};
// To a block each, that is a lane: words that alternate between two blocks; four words of one and
// four of the other in each lane.
TKMJPG_LANES_INLINE void SplitHalves(const Register words[1], Register blocks[1]) {
  blocks[0] = _mm256_permute4x64_epi64(words[0], 0xD8);
}
TKMJPG_LANES_INLINE void SplitAlternating(const Register words[1], Register blocks[1]) {
  blocks[0] = _mm256_permute4x64_epi64(Shuffle(words[0], LoadSame(kEvenFirst)), 0xD8);
}
TKMJPG_LANES_INLINE void ExchangeBlocks(Register blocks[1]) {
  blocks[0] = _mm256_permute4x64_epi64(blocks[0], 0x4E);
}
// A lane at `from`, the other `step` bytes after it.
TKMJPG_LANES_INLINE Register LoadLanes(const uint8_t* from, size_t step) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + step));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

// x + 1 where a > b, else x.
TKMJPG_LANES_INLINE Register AddOneWhereGreater(Register x, Register a, Register b) {
  return Sub(x, _mm256_cmpgt_epi16(a, b));
}
// The bytes of a lane, moved up or down with zeros in their place.
template <int kBytes>
TKMJPG_LANES_INLINE Register MoveUp(Register a) {
  return _mm256_slli_si256(a, kBytes);
}
template <int kBytes>
TKMJPG_LANES_INLINE Register MoveDown(Register a) {
  return _mm256_srli_si256(a, kBytes);
}

// Lane l of each of four registers, for each l.
TKMJPG_LANES_INLINE void GatherLanes(const Register from[4], Register to[4]) {
  for (int i = 0; i < 2; ++i) {
    to[i] = _mm256_permute2x128_si256(from[2 * i], from[2 * i + 1], 0x20);
    to[i + 2] = _mm256_permute2x128_si256(from[2 * i], from[2 * i + 1], 0x31);
  }
}
TKMJPG_LANES_INLINE void StoreLane(void* to, Register x, int lane) {
  const __m128i part = lane == 0 ? _mm256_castsi256_si128(x) : _mm256_extracti128_si256(x, 1);
  _mm_storeu_si128(static_cast<__m128i*>(to), part);
}

#include "cpu/lanes_x86_bytes.inc"

}  // namespace tkmjpg::avx2

#undef TKMJPG_MM
#undef TKMJPG_MM_BITS
