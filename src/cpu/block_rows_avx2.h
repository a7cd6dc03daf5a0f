// Eight rows of words, some blocks side by side, for AVX2.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/targets.h"

namespace tkmjpg {

// Rows of two blocks, a block in each 128-bit lane.
struct BlockPair {
  __m256i row[8];
};

TKMJPG_INLINE_AVX2 __m256i Words(int value) {
  return _mm256_set1_epi16(static_cast<int16_t>(value));
}
TKMJPG_INLINE_AVX2 __m256i Add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
TKMJPG_INLINE_AVX2 __m256i Sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
TKMJPG_INLINE_AVX2 __m256i MulHigh(__m256i a, int constant) {
  return _mm256_mulhi_epi16(a, Words(constant));
}
TKMJPG_INLINE_AVX2 __m256i Double(__m256i a) { return Add(a, a); }
TKMJPG_INLINE_AVX2 __m256i Quadruple(__m256i a) { return _mm256_slli_epi16(a, 2); }

// Exchanges rows and columns of the 8 x 8 words in each lane.
TKMJPG_INLINE_AVX2 void Transpose(BlockPair& m) {
  __m256i* x = m.row;
  __m256i a[8], b[8];
  for (int i = 0; i < 4; ++i) {
    a[2 * i] = _mm256_unpacklo_epi16(x[2 * i], x[2 * i + 1]);
    a[2 * i + 1] = _mm256_unpackhi_epi16(x[2 * i], x[2 * i + 1]);
  }
  for (int i = 0; i < 2; ++i) {
    b[4 * i] = _mm256_unpacklo_epi32(a[4 * i], a[4 * i + 2]);
    b[4 * i + 1] = _mm256_unpackhi_epi32(a[4 * i], a[4 * i + 2]);
    b[4 * i + 2] = _mm256_unpacklo_epi32(a[4 * i + 1], a[4 * i + 3]);
    b[4 * i + 3] = _mm256_unpackhi_epi32(a[4 * i + 1], a[4 * i + 3]);
  }
  for (int i = 0; i < 4; ++i) {
    x[2 * i] = _mm256_unpacklo_epi64(b[i], b[i + 4]);
    x[2 * i + 1] = _mm256_unpackhi_epi64(b[i], b[i + 4]);
  }
}

}  // namespace tkmjpg
