// The inverse transform and the output conversion of a whole MCU for AVX2. Two blocks lie side by
// side in 256-bit registers, a row of each in a 128-bit lane: first the two luma blocks, then Cb
// and Cr. The steps of inverse_dct.cpp run on 16 words at once, and the samples go from the
// registers into pixels, two lines at a time. The terms of the RGB tables are made by
// multiplications that give the table's value for each of the 256 samples (term_rules.h).
#include <immintrin.h>

#include <algorithm>
#include <bit>

#include "cpu/block_rows_avx2.h"
#include "cpu/prefetch.h"
#include "cpu/targets.h"
#include "decoder/decoder_kernels.h"
#include "decoder/huffman_decoder.h"
#include "decoder/term_rules.h"
#include "frame/transform_scale.h"

namespace tkmjpg {
namespace {

// InverseScale, symmetric.
constexpr std::array<int16_t, 64> MakeInverseScale() {
  std::array<int16_t, 64> scale{};
  for (int n = 0; n < 64; ++n) scale[n] = static_cast<int16_t>(kQuantScale[n] >> 1);
  return scale;
}
alignas(64) constexpr std::array<int16_t, 64> kInverseScale = MakeInverseScale();

TKMJPG_INLINE_AVX2 __m256i Load(const void* from) {
  return _mm256_load_si256(static_cast<const __m256i*>(from));
}
TKMJPG_INLINE_AVX2 __m256i LoadTwice(const void* from) {
  return _mm256_broadcastsi128_si256(_mm_load_si128(static_cast<const __m128i*>(from)));
}
TKMJPG_INLINE_AVX2 void StoreLow(uint8_t* to, __m256i bytes) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(bytes));
}
TKMJPG_INLINE_AVX2 void StoreHigh(uint8_t* to, __m256i bytes) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_extracti128_si256(bytes, 1));
}
TKMJPG_INLINE_AVX2 __m256i Bytes(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }

// The pass of inverse_dct.cpp on 16 rows or columns at once.
TKMJPG_INLINE_AVX2 void InversePass(BlockPair& m) {
  __m256i* x = m.row;
  const __m256i a = Sub(x[5], x[3]), b = Add(x[5], x[3]);
  const __m256i c = Sub(x[1], x[7]), d = Add(x[1], x[7]);
  const __m256i g = Add(c, MulHigh(Double(Sub(c, a)), 23170));
  const __m256i h = Add(a, MulHigh(Double(Add(a, c)), 23170));
  const __m256i e = MulHigh(Quadruple(Sub(d, b)), 21407);
  const __m256i f = MulHigh(Double(Add(b, d)), 30274);
  const __m256i t6 = Sub(g, f), t5 = Sub(e, t6), t4 = Sub(h, t5);

  const __m256i s = Add(x[2], x[6]);
  const __m256i n = Sub(MulHigh(Quadruple(Sub(x[2], x[6])), 23170), s);
  const __m256i p0 = Add(x[0], x[4]), p1 = Sub(x[0], x[4]);
  const __m256i e0 = Add(p0, s), e3 = Sub(p0, s), e1 = Add(p1, n), e2 = Sub(p1, n);

  x[0] = Add(e0, f);
  x[7] = Sub(e0, f);
  x[1] = Add(e1, t6);
  x[6] = Sub(e1, t6);
  x[2] = Add(e2, t5);
  x[5] = Sub(e2, t5);
  x[3] = Add(e3, t4);
  x[4] = Sub(e3, t4);
}

// Two lines of samples as bytes: in each lane one line, of the left and right block, or Cb and Cr.
struct LinePairs {
  __m256i lines[4];
};

// Coefficients of two blocks to samples. Clears the coefficients.
TKMJPG_INLINE_AVX2 LinePairs TransformPair(int16_t* coefficients, const uint16_t* dequant) {
  BlockPair m;
  for (int u = 0; u < 8; ++u) {
    int16_t* row = coefficients + 32 * u;
    const __m256i product = _mm256_mullo_epi16(Load(row), Load(dequant + 32 * u));
    _mm256_store_si256(reinterpret_cast<__m256i*>(row), _mm256_setzero_si256());
    m.row[u] = _mm256_mulhi_epi16(_mm256_adds_epi16(product, product),
                                  LoadTwice(kInverseScale.data() + 8 * u));
  }
  InversePass(m);
  Transpose(m);
  m.row[0] = Add(m.row[0], Words(128 * 32 + 16));  // level shift and rounding
  InversePass(m);
  LinePairs samples;
  for (int i = 0; i < 4; ++i) {
    const __m256i packed = _mm256_packus_epi16(_mm256_srai_epi16(m.row[2 * i], 5),
                                               _mm256_srai_epi16(m.row[2 * i + 1], 5));
    samples.lines[i] = _mm256_permute4x64_epi64(packed, 0xD8);
  }
  return samples;
}

// --- Packed YUV ------------------------------------------------------------------------------

// Stores two lines, each a lane of `left` and `right`, as far as `line_count` goes.
TKMJPG_INLINE_AVX2 void StoreYuvLines(__m256i left, __m256i right, uint8_t* const rows[2],
                                      size_t offset, int line_count) {
  if (line_count > 0) {
    StoreLow(rows[0] + offset, left);
    StoreLow(rows[0] + offset + 16, right);
  }
  if (line_count > 1) {
    StoreHigh(rows[1] + offset, left);
    StoreHigh(rows[1] + offset + 16, right);
  }
}

template <bool kChromaFirst, bool kLimit>
TKMJPG_TARGET_AVX2 void WriteYuv(const McuJob& job) {
  const LinePairs luma = TransformPair(job.coefficients, job.dequant);
  const LinePairs chroma = TransformPair(job.coefficients + 16, job.dequant + 16);
  const __m256i interleave = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
  for (int i = 0; i < 4; ++i) {
    __m256i y = luma.lines[i];
    if (kLimit) y = _mm256_min_epu8(_mm256_max_epu8(y, Bytes(16)), Bytes(235));
    const __m256i c = _mm256_shuffle_epi8(chroma.lines[i], interleave);
    const __m256i first = kChromaFirst ? c : y, second = kChromaFirst ? y : c;
    StoreYuvLines(_mm256_unpacklo_epi8(first, second), _mm256_unpackhi_epi8(first, second),
                  job.rows + 2 * i, job.offset, job.row_count - 2 * i);
  }
}

// --- RGB -------------------------------------------------------------------------------------

// Without the constant; words of 256 times the sample.
TKMJPG_INLINE_AVX2 __m256i Term(const TermRule& rule, __m256i high) {
  const __m256i x = _mm256_or_si256(high, Words(rule.bias));
  const __m256i part = _mm256_mulhi_epu16(x, Words(rule.factor));
  return Add(_mm256_mulhi_epu16(x, Words(256 * rule.multiple)),
             _mm256_srli_epi16(part, rule.fraction));
}

struct Colours {
  __m256i b, g, r;
};

// A comparison's result is -1 where it holds: subtracting it adds one there.
TKMJPG_INLINE_AVX2 __m256i AddWhere(__m256i condition, __m256i x) { return Sub(x, condition); }

// The sums of the terms of the chroma of eight pairs of two lines and of all constants; the samples
// 256 times.
template <bool kFull>
TKMJPG_INLINE_AVX2 Colours ChromaTerms(__m256i cb, __m256i cr) {
  constexpr int kLumaB = kFull ? 30 : kLuma601B.constant, kLumaG = kFull ? 30 : kLuma601G.constant;
  const __m256i inverse = Words(0xFF00);
  const __m256i g =
      Add(Term(kBlueG, _mm256_xor_si256(cb, inverse)), Term(kRedG, _mm256_xor_si256(cr, inverse)));
  // One more below the middle, that is one less from it on.
  const __m256i b = Sub(Term(kBlueB, cb), _mm256_srli_epi16(cb, 15));
  const __m256i r = Sub(Term(kRedR, cr), _mm256_srli_epi16(cr, 15));
  return {Add(b, Words(kBlueB.constant + kLumaB + 1)),
          Add(g, Words(kBlueG.constant + kRedG.constant + kLumaG)),
          Add(r, Words(kRedR.constant + kLumaG + 1))};
}

// Luma terms without their constants; the samples 256 times.
template <bool kFull>
TKMJPG_INLINE_AVX2 Colours LumaTerms(__m256i high) {
  const __m256i y = _mm256_srli_epi16(high, 8);
  if constexpr (kFull) {
    const __m256i g = _mm256_srli_epi16(high, 2);
    const __m256i r = AddWhere(_mm256_cmpeq_epi16(y, _mm256_setzero_si256()), g);
    return {AddWhere(_mm256_cmpgt_epi16(y, Words(177)), r), g, r};
  } else {
    const __m256i b = Term(kLuma601B, high), g = Term(kLuma601G, high);
    const __m256i dark = _mm256_cmpgt_epi16(Words(17), y);
    return {AddWhere(dark, b), g, AddWhere(dark, g)};
  }
}

// Bytes of the even pixels, then of the odd ones, of a line in each lane. A level is a sum of terms
// over 64. Sums above 32767 are limited there, far above 255 levels.
TKMJPG_INLINE_AVX2 __m256i Levels(__m256i even, __m256i odd, __m256i chroma) {
  return _mm256_packus_epi16(_mm256_srai_epi16(_mm256_adds_epi16(even, chroma), 6),
                             _mm256_srai_epi16(_mm256_adds_epi16(odd, chroma), 6));
}

// Two lines of 16 pixels, as bytes in four registers of four pixels of each line.
struct PixelLines {
  __m256i pixels[4];
};

// `last` is the fourth byte of all pixels.
TKMJPG_INLINE_AVX2 PixelLines InterleavePixels(const Colours& bytes, __m256i last) {
  const __m256i even_bg = _mm256_unpacklo_epi8(bytes.b, bytes.g);
  const __m256i odd_bg = _mm256_unpackhi_epi8(bytes.b, bytes.g);
  const __m256i even_rx = _mm256_unpacklo_epi8(bytes.r, last);
  const __m256i odd_rx = _mm256_unpackhi_epi8(bytes.r, last);
  const __m256i even_low = _mm256_unpacklo_epi16(even_bg, even_rx);
  const __m256i even_high = _mm256_unpackhi_epi16(even_bg, even_rx);
  const __m256i odd_low = _mm256_unpacklo_epi16(odd_bg, odd_rx);
  const __m256i odd_high = _mm256_unpackhi_epi16(odd_bg, odd_rx);
  return {{_mm256_unpacklo_epi32(even_low, odd_low), _mm256_unpackhi_epi32(even_low, odd_low),
           _mm256_unpacklo_epi32(even_high, odd_high), _mm256_unpackhi_epi32(even_high, odd_high)}};
}

// Drops the fourth bytes: three registers of 16 bytes of each line.
TKMJPG_INLINE_AVX2 void DropFourth(PixelLines& lines) {
  const __m256i drop = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
  __m256i* p = lines.pixels;
  for (int i = 0; i < 4; ++i) p[i] = _mm256_shuffle_epi8(p[i], drop);
  p[0] = _mm256_or_si256(p[0], _mm256_slli_si256(p[1], 12));
  p[1] = _mm256_or_si256(_mm256_srli_si256(p[1], 4), _mm256_slli_si256(p[2], 8));
  p[2] = _mm256_or_si256(_mm256_srli_si256(p[2], 8), _mm256_slli_si256(p[3], 4));
}

template <int kPixelBytes>
TKMJPG_INLINE_AVX2 void StoreBgrLines(PixelLines lines, uint8_t* const rows[2], size_t offset,
                                      int line_count) {
  if (kPixelBytes == 3) DropFourth(lines);
  for (int i = 0; i < kPixelBytes; ++i) {
    if (line_count > 0) StoreLow(rows[0] + offset + 16 * i, lines.pixels[i]);
    if (line_count > 1) StoreHigh(rows[1] + offset + 16 * i, lines.pixels[i]);
  }
}

template <bool kFull, int kPixelBytes, int kLastByte>
TKMJPG_TARGET_AVX2 void WriteBgr(const McuJob& job) {
  PrefetchBandBelow(job.rows, job.row_count, job.offset);
  const LinePairs luma = TransformPair(job.coefficients, job.dequant);
  const LinePairs chroma_samples = TransformPair(job.coefficients + 16, job.dequant + 16);
  const __m256i zero = _mm256_setzero_si256();
  for (int i = 0; 2 * i < job.row_count; ++i) {
    const __m256i y = luma.lines[i], c = chroma_samples.lines[i];
    const Colours chroma =
        ChromaTerms<kFull>(_mm256_unpacklo_epi8(zero, c), _mm256_unpackhi_epi8(zero, c));
    const Colours even = LumaTerms<kFull>(_mm256_slli_epi16(y, 8));
    const Colours odd = LumaTerms<kFull>(_mm256_and_si256(y, Words(0xFF00)));
    const Colours bytes = {Levels(even.b, odd.b, chroma.b), Levels(even.g, odd.g, chroma.g),
                           Levels(even.r, odd.r, chroma.r)};
    StoreBgrLines<kPixelBytes>(InterleavePixels(bytes, Bytes(kLastByte)), job.rows + 2 * i,
                               job.offset, job.row_count - 2 * i);
  }
}

// --- Any other layout ------------------------------------------------------------------------

// Two lines of two blocks into McuBlocks.
TKMJPG_INLINE_AVX2 void StoreSamples(__m256i lines, uint8_t* first_block, int line) {
  const __m256i by_block = _mm256_permute4x64_epi64(lines, 0xD8);
  StoreLow(first_block + 8 * line, by_block);
  StoreHigh(first_block + 64 + 8 * line, by_block);
}

template <McuConverter kConvert>
TKMJPG_TARGET_AVX2 void WriteConverted(const McuJob& job) {
  const LinePairs luma = TransformPair(job.coefficients, job.dequant);
  const LinePairs chroma = TransformPair(job.coefficients + 16, job.dequant + 16);
  alignas(64) uint8_t samples[kMcuBlockBytes];
  for (int i = 0; i < 4; ++i) {
    StoreSamples(luma.lines[i], samples, 2 * i);
    StoreSamples(chroma.lines[i], samples + 128, 2 * i);
  }
  uint8_t* cursors[8];
  for (int r = 0; r < job.row_count; ++r) cursors[r] = job.rows[r] + job.offset;
  kConvert(cursors, samples, job.row_count);
}

}  // namespace

McuWriter SelectWriterAvx2(PixelFormatCode format) {
  switch (format) {
    case PixelFormatCode::kYuyv:
      return {WriteYuv<false, true>};
    case PixelFormatCode::kYuyvFull:
      return {WriteYuv<false, false>};
    case PixelFormatCode::kUyvy:
      return {WriteYuv<true, true>};
    case PixelFormatCode::kUyvyFull:
      return {WriteYuv<true, false>};
    case PixelFormatCode::kBgr24:
      return {WriteBgr<false, 3, 0>};
    case PixelFormatCode::kBgr24Full:
      return {WriteBgr<true, 3, 0>};
    case PixelFormatCode::kBgrx32:
      return {WriteBgr<false, 4, 0>};
    case PixelFormatCode::kBgrx32Full:
      return {WriteBgr<true, 4, 0>};
    case PixelFormatCode::kBgra32:
      return {WriteBgr<false, 4, 255>};
    case PixelFormatCode::kBgra32Full:
      return {WriteBgr<true, 4, 255>};
    case PixelFormatCode::kRgb555:
      return {WriteConverted<ConvertMcuToRgb555>};
    case PixelFormatCode::kRgb565:
      return {WriteConverted<ConvertMcuToRgb565>};
    default:
      return {};
  }
}

// 32 bytes at a time, up to an 0xFF; that and the byte behind it by themselves.
TKMJPG_TARGET_AVX2 int StageBytesAvx2(EntropyInput& input, uint8_t* write, int room) {
  const uint8_t* from = input.read_pos;
  int moved = 0;
  while (room - moved >= 32 && input.data_end - from > 32) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(write + moved), bytes);
    const auto ones =
        static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(-1))));
    if (ones == 0) {
      from += 32;
      moved += 32;
      continue;
    }
    const int ahead = std::countr_zero(ones);
    const uint8_t code = from[ahead + 1];
    from += ahead + 2;
    moved += ahead;
    if (code != 0) {
      input.pending_marker = code;
      input.read_pos = from;
      return moved;
    }
    ++moved;  // the 0xFF is there already
  }
  input.read_pos = from;
  return moved + StageBytes(input, write + moved, room - moved);
}

}  // namespace tkmjpg
