// The inverse transform and the output conversion of a whole MCU for AVX-512. The four blocks lie
// side by side in 512-bit registers, a row of each in a 128-bit lane: the steps of inverse_dct.cpp
// run on 32 words at once. Samples of packed YUV go from the registers into pixels, those of RGB in
// two more steps of four lines. The terms of the RGB tables are made by multiplications that give
// the table's value for each of the 256 samples.
#include <immintrin.h>

#include <algorithm>
#include <bit>

#include "cpu/block_rows_avx512.h"
#include "cpu/prefetch.h"
#include "cpu/targets.h"
#include "decoder/decoder_kernels.h"
#include "decoder/huffman_decoder.h"
#include "decoder/term_rules.h"
#include "frame/transform_scale.h"

namespace tkmjpg {
namespace {

using ByteIndex = std::array<uint8_t, 64>;

// InverseScale for rows of four blocks.
constexpr std::array<int16_t, kMcuWords> MakeLaneScale() {
  std::array<int16_t, kMcuWords> scale{};
  for (int i = 0; i < kMcuWords; ++i) {
    scale[i] = static_cast<int16_t>(kQuantScale[8 * (i / 32) + i % 8] >> 1);
  }
  return scale;
}
alignas(64) constexpr std::array<int16_t, kMcuWords> kLaneScale = MakeLaneScale();

// The pass of inverse_dct.cpp on 32 rows or columns at once.
TKMJPG_INLINE_AVX512 void InversePass(McuRegisters& m) {
  __m512i* x = m.row;
  const __m512i a = Sub(x[5], x[3]), b = Add(x[5], x[3]);
  const __m512i c = Sub(x[1], x[7]), d = Add(x[1], x[7]);
  const __m512i g = Add(c, MulHigh(Double(Sub(c, a)), 23170));
  const __m512i h = Add(a, MulHigh(Double(Add(a, c)), 23170));
  const __m512i e = MulHigh(Quadruple(Sub(d, b)), 21407);
  const __m512i f = MulHigh(Double(Add(b, d)), 30274);
  const __m512i t6 = Sub(g, f), t5 = Sub(e, t6), t4 = Sub(h, t5);

  const __m512i s = Add(x[2], x[6]);
  const __m512i n = Sub(MulHigh(Quadruple(Sub(x[2], x[6])), 23170), s);
  const __m512i p0 = Add(x[0], x[4]), p1 = Sub(x[0], x[4]);
  const __m512i e0 = Add(p0, s), e3 = Sub(p0, s), e1 = Add(p1, n), e2 = Sub(p1, n);

  x[0] = Add(e0, f);
  x[7] = Sub(e0, f);
  x[1] = Add(e1, t6);
  x[6] = Sub(e1, t6);
  x[2] = Add(e2, t5);
  x[5] = Sub(e2, t5);
  x[3] = Add(e3, t4);
  x[4] = Sub(e3, t4);
}

// Coefficients to rows of samples as words, not yet limited to bytes. Clears the coefficients.
TKMJPG_INLINE_AVX512 void TransformMcu(int16_t* coefficients, const uint16_t* dequant,
                                       McuRegisters& m) {
  for (int u = 0; u < 8; ++u) {
    int16_t* row = coefficients + 32 * u;
    const __m512i product =
        _mm512_mullo_epi16(_mm512_load_si512(row), _mm512_load_si512(dequant + 32 * u));
    _mm512_store_si512(row, _mm512_setzero_si512());
    m.row[u] = _mm512_mulhi_epi16(_mm512_adds_epi16(product, product),
                                  _mm512_load_si512(kLaneScale.data() + 32 * u));
  }
  InversePass(m);
  Transpose(m);
  m.row[0] = Add(m.row[0], Words(128 * 32 + 16));  // level shift and rounding
  InversePass(m);
  for (int y = 0; y < 8; ++y) m.row[y] = _mm512_srai_epi16(m.row[y], 5);
}

// --- Packed YUV ------------------------------------------------------------------------------

// Lane l of a packed register holds eight samples of each of two lines of block l.
constexpr uint8_t SampleByte(int l, int line, int x) {
  return static_cast<uint8_t>(16 * l + 8 * line + x);
}

template <bool kChromaFirst>
constexpr ByteIndex MakeYuvIndex() {
  ByteIndex index{};
  for (int i = 0; i < 64; ++i) {
    const int line = i / 32, at = i % 32, luma = kChromaFirst ? 1 : 0;
    const int pair = at / 4, x = at / 2;
    const bool is_luma = at % 2 == luma;
    index[i] =
        is_luma ? SampleByte(x / 8, line, x % 8) : SampleByte(at % 4 < 2 ? 2 : 3, line, pair);
  }
  return index;
}
template <bool kChromaFirst>
alignas(64) constexpr ByteIndex kYuvIndex = MakeYuvIndex<kChromaFirst>();

// Limits that hold luma, lanes 0 and 1, within 16 to 235 and leave chroma alone.
TKMJPG_INLINE_AVX512 __m512i LimitLuma(__m512i samples) {
  const __m512i low = _mm512_maskz_set1_epi8(0xFFFFFFFF, 16);
  const __m512i high =
      _mm512_mask_set1_epi8(_mm512_set1_epi8(-1), 0xFFFFFFFF, static_cast<char>(235));
  return _mm512_min_epu8(_mm512_max_epu8(samples, low), high);
}

template <bool kChromaFirst, bool kLimit>
TKMJPG_TARGET_AVX512 void WriteYuv(const McuJob& job) {
  McuRegisters m;
  TransformMcu(job.coefficients, job.dequant, m);
  uint8_t* const* const rows = job.rows;
  const __m512i index = _mm512_load_si512(kYuvIndex<kChromaFirst>.data());
  for (int i = 0; i < 4; ++i) {
    __m512i samples = _mm512_packus_epi16(m.row[2 * i], m.row[2 * i + 1]);
    if (kLimit) samples = LimitLuma(samples);
    const __m512i pixels = _mm512_permutexvar_epi8(index, samples);
    if (2 * i < job.row_count) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(rows[2 * i] + job.offset),
                          _mm512_castsi512_si256(pixels));
    }
    if (2 * i + 1 < job.row_count) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(rows[2 * i + 1] + job.offset),
                          _mm512_extracti64x4_epi64(pixels, 1));
    }
  }
}

// --- RGB -------------------------------------------------------------------------------------

// Without the constant; words of 256 times the sample.
TKMJPG_INLINE_AVX512 __m512i Term(const TermRule& rule, __m512i high) {
  const __m512i x = _mm512_or_si512(high, Words(rule.bias));
  const __m512i part = _mm512_mulhi_epu16(x, Words(rule.factor));
  return Add(_mm512_mulhi_epu16(x, Words(256 * rule.multiple)),
             _mm512_srli_epi16(part, static_cast<uint32_t>(rule.fraction)));
}

struct Colours {
  __m512i b, g, r;
};

// The sums of the terms of 32 pairs' chroma and of all constants; the samples 256 times.
template <bool kFull>
TKMJPG_INLINE_AVX512 Colours ChromaTerms(__m512i cb, __m512i cr) {
  constexpr int kLumaB = kFull ? 30 : kLuma601B.constant, kLumaG = kFull ? 30 : kLuma601G.constant;
  const __m512i inverse = Words(0xFF00);
  const __m512i g =
      Add(Term(kBlueG, _mm512_xor_si512(cb, inverse)), Term(kRedG, _mm512_xor_si512(cr, inverse)));
  // One more below the middle, that is one less from it on.
  const __m512i b = Sub(Term(kBlueB, cb), _mm512_srli_epi16(cb, 15));
  const __m512i r = Sub(Term(kRedR, cr), _mm512_srli_epi16(cr, 15));
  return {Add(b, Words(kBlueB.constant + kLumaB + 1)),
          Add(g, Words(kBlueG.constant + kRedG.constant + kLumaG)),
          Add(r, Words(kRedR.constant + kLumaG + 1))};
}

// Luma terms of 32 pixels without their constants; the samples 256 times.
template <bool kFull>
TKMJPG_INLINE_AVX512 Colours LumaTerms(__m512i y) {
  if constexpr (kFull) {
    const __m512i g = _mm512_srli_epi16(y, 2);
    const __mmask32 zero = _mm512_testn_epi16_mask(y, y);
    const __mmask32 bright = _mm512_cmpge_epu16_mask(y, Words(178 << 8));
    return {_mm512_mask_add_epi16(g, zero | bright, g, Words(1)), g,
            _mm512_mask_add_epi16(g, zero, g, Words(1))};
  } else {
    // Both rules have the same bias and multiple: the compiler makes those once.
    const __m512i b = Term(kLuma601B, y), g = Term(kLuma601G, y);
    const __mmask32 dark = _mm512_cmple_epu16_mask(y, Words(16 << 8));
    return {_mm512_mask_add_epi16(b, dark, b, Words(1)), g,
            _mm512_mask_add_epi16(g, dark, g, Words(1))};
  }
}

// A level is a sum of terms over 64. Sums above 32767 are limited there, far above 255 levels.
TKMJPG_INLINE_AVX512 __m512i Level(__m512i luma, __m512i chroma) {
  return _mm512_srai_epi16(_mm512_adds_epi16(luma, chroma), 6);
}

// Bytes of one colour of 64 pixels: packed even pixels' words and odd pixels' words of four lines.
// Word w of either is pair w % 8 of line w / 8; packing puts lane L's even and odd pixels behind
// one another: line L, even 0 to 7, odd 0 to 7.
template <int kPixelBytes>
constexpr ByteIndex MakeBgIndex(int line) {
  // From B (bytes 0 to 63) and G (64 to 127).
  ByteIndex index{};
  for (int i = 0; i < 16 * kPixelBytes; ++i) {
    const int x = i / kPixelBytes, colour = i % kPixelBytes;
    const int byte = 16 * line + 8 * (x % 2) + x / 2;
    index[i] = static_cast<uint8_t>(colour == 1 ? 64 + byte : byte);
  }
  return index;
}
template <int kPixelBytes, int kLine>
alignas(64) constexpr ByteIndex kBgIndex = MakeBgIndex<kPixelBytes>(kLine);

constexpr uint64_t ColourBytes(int pixel_bytes, int colour) {
  uint64_t mask = 0;
  for (int x = 0; x < 16; ++x) mask |= uint64_t{1} << (pixel_bytes * x + colour);
  return mask;
}

template <int kPixelBytes, int kLastByte, int kLine>
TKMJPG_INLINE_AVX512 void StoreBgrLine(const Colours& bytes, uint8_t* to) {
  const __m512i index = _mm512_load_si512((kBgIndex<kPixelBytes, kLine>).data());
  __m512i pixels = _mm512_permutex2var_epi8(bytes.b, index, bytes.g);
  pixels = _mm512_mask_permutexvar_epi8(pixels, ColourBytes(kPixelBytes, 2), index, bytes.r);
  if constexpr (kPixelBytes == 4) {
    pixels = _mm512_mask_set1_epi8(pixels, ColourBytes(4, 3), static_cast<char>(kLastByte));
    _mm512_storeu_si512(to, pixels);
  } else {
    _mm512_mask_storeu_epi8(to, (uint64_t{1} << 48) - 1, pixels);
  }
}

// Four lines of packed samples, two registers of two lines, to the words of their even and odd
// pixels and their chroma pairs, 256 times each: word 8 line + pair.
struct FourLines {
  __m512i even, odd, cb, cr;
};

TKMJPG_INLINE_AVX512 FourLines SplitLines(__m512i first, __m512i second) {
  // Lane l of `lines`: lines 0 to 3 of block l, eight bytes each, spread over two registers; a
  // permutation brings a line's luma (16 bytes) and its chroma together.
  alignas(64) static constexpr std::array<uint8_t, 64> kLumaIndex = [] {
    std::array<uint8_t, 64> index{};
    for (int i = 0; i < 64; ++i) {
      const int line = i / 16, x = i % 16;
      index[i] = static_cast<uint8_t>(64 * (line / 2) + SampleByte(x / 8, line % 2, x % 8));
    }
    return index;
  }();
  alignas(64) static constexpr std::array<uint8_t, 64> kChromaIndex = [] {
    std::array<uint8_t, 64> index{};
    for (int i = 0; i < 64; ++i) {
      const int line = i / 16, pair = i % 16 / 2;
      index[i] = static_cast<uint8_t>(64 * (line / 2) + SampleByte(2 + i % 2, line % 2, pair));
    }
    return index;
  }();
  const __m512i luma =
      _mm512_permutex2var_epi8(first, _mm512_load_si512(kLumaIndex.data()), second);
  const __m512i chroma =
      _mm512_permutex2var_epi8(first, _mm512_load_si512(kChromaIndex.data()), second);
  const __m512i high = Words(0xFF00);
  return {_mm512_slli_epi16(luma, 8), _mm512_and_si512(luma, high), _mm512_slli_epi16(chroma, 8),
          _mm512_and_si512(chroma, high)};
}

// Leaves the samples of lines 2 i and 2 i + 1 in bytes 64 i to 64 i + 63, a block in each 16.
TKMJPG_TARGET_AVX512 void TransformToSamples(const McuJob& job) {
  PrefetchBandBelow(job.rows, job.row_count, job.offset);
  McuRegisters m;
  TransformMcu(job.coefficients, job.dequant, m);
  for (int i = 0; i < 4; ++i) {
    _mm512_store_si512(job.samples + 64 * i, _mm512_packus_epi16(m.row[2 * i], m.row[2 * i + 1]));
  }
}

template <bool kFull, int kPixelBytes, int kLastByte, int kTop>
TKMJPG_TARGET_AVX512 void WriteFourLines(const McuJob& job) {
  const FourLines lines = SplitLines(_mm512_load_si512(job.samples + 32 * kTop),
                                     _mm512_load_si512(job.samples + 32 * kTop + 64));
  const Colours chroma = ChromaTerms<kFull>(lines.cb, lines.cr);
  const Colours even = LumaTerms<kFull>(lines.even), odd = LumaTerms<kFull>(lines.odd);
  const Colours bytes = {_mm512_packus_epi16(Level(even.b, chroma.b), Level(odd.b, chroma.b)),
                         _mm512_packus_epi16(Level(even.g, chroma.g), Level(odd.g, chroma.g)),
                         _mm512_packus_epi16(Level(even.r, chroma.r), Level(odd.r, chroma.r))};
  const int left = job.row_count - kTop;
  if (left > 0) StoreBgrLine<kPixelBytes, kLastByte, 0>(bytes, job.rows[kTop] + job.offset);
  if (left > 1) StoreBgrLine<kPixelBytes, kLastByte, 1>(bytes, job.rows[kTop + 1] + job.offset);
  if (left > 2) StoreBgrLine<kPixelBytes, kLastByte, 2>(bytes, job.rows[kTop + 2] + job.offset);
  if (left > 3) StoreBgrLine<kPixelBytes, kLastByte, 3>(bytes, job.rows[kTop + 3] + job.offset);
}

template <bool kFull, int kPixelBytes, int kLastByte>
constexpr McuWriter kWriteBgr = {TransformToSamples,
                                 WriteFourLines<kFull, kPixelBytes, kLastByte, 0>,
                                 WriteFourLines<kFull, kPixelBytes, kLastByte, 4>};

// --- Any other layout ------------------------------------------------------------------------

template <McuConverter kConvert>
TKMJPG_TARGET_AVX512 void WriteConverted(const McuJob& job) {
  TransformToSamples(job);
  alignas(64) uint8_t samples[kMcuBlockBytes];
  for (int i = 0; i < 4; ++i) {
    for (int l = 0; l < 4; ++l) {
      std::copy_n(job.samples + 64 * i + 16 * l, 16, samples + 64 * l + 16 * i);
    }
  }
  uint8_t* cursors[8];
  for (int r = 0; r < job.row_count; ++r) cursors[r] = job.rows[r] + job.offset;
  kConvert(cursors, samples, job.row_count);
}

}  // namespace

McuWriter SelectWriterAvx512(PixelFormatCode format) {
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
      return kWriteBgr<false, 3, 0>;
    case PixelFormatCode::kBgr24Full:
      return kWriteBgr<true, 3, 0>;
    case PixelFormatCode::kBgrx32:
      return kWriteBgr<false, 4, 0>;
    case PixelFormatCode::kBgrx32Full:
      return kWriteBgr<true, 4, 0>;
    case PixelFormatCode::kBgra32:
      return kWriteBgr<false, 4, 255>;
    case PixelFormatCode::kBgra32Full:
      return kWriteBgr<true, 4, 255>;
    case PixelFormatCode::kRgb555:
      return {WriteConverted<ConvertMcuToRgb555>};
    case PixelFormatCode::kRgb565:
      return {WriteConverted<ConvertMcuToRgb565>};
    default:
      return {};
  }
}

// 64 bytes at a time: the zeros behind 0xFF bytes are squeezed out.
TKMJPG_TARGET_AVX512 int StageBytesAvx512(EntropyInput& input, uint8_t* write, int room) {
  const uint8_t* from = input.read_pos;
  int moved = 0;
  while (room - moved >= 64 && input.data_end - from > 64) {
    const __m512i bytes = _mm512_loadu_si512(from);
    const uint64_t ones = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(-1));
    if (ones == 0) {
      _mm512_storeu_si512(write + moved, bytes);
      from += 64;
      moved += 64;
      continue;
    }
    const uint64_t zeros = _mm512_testn_epi8_mask(bytes, bytes);
    const uint64_t zero_next = zeros >> 1 | static_cast<uint64_t>(from[64] == 0 ? 1 : 0) << 63;
    const uint64_t markers = ones & ~zero_next;
    const int end = markers != 0 ? std::countr_zero(markers) : 64;
    const uint64_t stuffing = (ones & zero_next) << 1;
    const uint64_t kept = ~stuffing & (end == 64 ? ~uint64_t{0} : (uint64_t{1} << end) - 1);
    _mm512_storeu_si512(write + moved, _mm512_maskz_compress_epi8(kept, bytes));
    moved += std::popcount(kept);
    if (markers != 0) {
      input.pending_marker = from[end + 1];
      input.read_pos = from + end + 2;
      return moved;
    }
    from += 64 + (ones >> 63);
  }
  input.read_pos = from;
  return moved + StageBytes(input, write + moved, room - moved);
}

}  // namespace tkmjpg
