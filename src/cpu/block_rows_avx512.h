// Eight rows of words, some blocks side by side, for AVX-512.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/targets.h"

namespace tkmjpg {

// Rows of the four blocks of an MCU, a block in each 128-bit lane: left luma, right luma, Cb, Cr.
struct McuRegisters {
  __m512i row[8];
};

TKMJPG_INLINE_AVX512 __m512i Words(int value) {
  return _mm512_set1_epi16(static_cast<int16_t>(value));
}
TKMJPG_INLINE_AVX512 __m512i Add(__m512i a, __m512i b) { return _mm512_add_epi16(a, b); }
TKMJPG_INLINE_AVX512 __m512i Sub(__m512i a, __m512i b) { return _mm512_sub_epi16(a, b); }
TKMJPG_INLINE_AVX512 __m512i MulHigh(__m512i a, int constant) {
  return _mm512_mulhi_epi16(a, Words(constant));
}
TKMJPG_INLINE_AVX512 __m512i Double(__m512i a) { return Add(a, a); }
TKMJPG_INLINE_AVX512 __m512i Quadruple(__m512i a) { return _mm512_slli_epi16(a, 2); }

// Exchanges rows and columns of the 8 x 8 words in each lane.
TKMJPG_INLINE_AVX512 void Transpose(McuRegisters& m) {
  __m512i* x = m.row;
  __m512i a[8], b[8];
  for (int i = 0; i < 4; ++i) {
    a[2 * i] = _mm512_unpacklo_epi16(x[2 * i], x[2 * i + 1]);
    a[2 * i + 1] = _mm512_unpackhi_epi16(x[2 * i], x[2 * i + 1]);
  }
  for (int i = 0; i < 2; ++i) {
    b[4 * i] = _mm512_unpacklo_epi32(a[4 * i], a[4 * i + 2]);
    b[4 * i + 1] = _mm512_unpackhi_epi32(a[4 * i], a[4 * i + 2]);
    b[4 * i + 2] = _mm512_unpacklo_epi32(a[4 * i + 1], a[4 * i + 3]);
    b[4 * i + 3] = _mm512_unpackhi_epi32(a[4 * i + 1], a[4 * i + 3]);
  }
  for (int i = 0; i < 4; ++i) {
    x[2 * i] = _mm512_unpacklo_epi64(b[i], b[i + 4]);
    x[2 * i + 1] = _mm512_unpackhi_epi64(b[i], b[i + 4]);
  }
}

}  // namespace tkmjpg
