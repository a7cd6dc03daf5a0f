// Pixels to quantised coefficients for AVX2. Two blocks lie side by side in 256-bit registers, a
// row of each in a 128-bit lane: first the two luma blocks of an MCU, then Cb and Cr. Both passes
// of the transform and the quantiser are the plain arithmetic on 16 words at once; RGB goes through
// multiplications that give the plain table's values (colour_rules.h). Coefficients are narrowed to
// bytes and put into zig-zag order, and a bit mask says which are not zero.
#include <immintrin.h>

#include "cpu/block_rows_avx2.h"
#include "cpu/prefetch.h"
#include "cpu/targets.h"
#include "encoder/colour_rules.h"
#include "encoder/encoder_kernels.h"
#include "encoder/mcu_chunk_avx2.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

using LaneIndex = std::array<int8_t, 16>;

TKMJPG_INLINE_AVX2 __m256i Load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
TKMJPG_INLINE_AVX2 void Store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}
TKMJPG_INLINE_AVX2 __m256i LoadTwice(const void* from) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(from)));
}
TKMJPG_INLINE_AVX2 __m256i LoadHalves(const uint8_t* low, const uint8_t* high) {
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
}
TKMJPG_INLINE_AVX2 __m256i Shuffle(__m256i bytes, const LaneIndex& index) {
  return _mm256_shuffle_epi8(bytes, LoadTwice(index.data()));
}
TKMJPG_INLINE_AVX2 __m256i ExchangeMiddle(__m256i x) { return _mm256_permute4x64_epi64(x, 0xD8); }

// --- Reading two lines of an MCU --------------------------------------------------------------

// Word s of lane l: the samples s of block l in both lines, the first line's in the low byte.
struct LinePair {
  __m256i luma, chroma;
};

// The low bytes of a's words and of b's side by side; the high bytes.
TKMJPG_INLINE_AVX2 __m256i LowBytes(__m256i a, __m256i b) {
  return _mm256_or_si256(_mm256_and_si256(a, Words(0xFF)), _mm256_slli_epi16(b, 8));
}
TKMJPG_INLINE_AVX2 __m256i HighBytes(__m256i a, __m256i b) {
  return _mm256_or_si256(_mm256_srli_epi16(a, 8), _mm256_and_si256(b, Words(0xFF00)));
}

// Words that alternate between two blocks, to a lane each.
TKMJPG_INLINE_AVX2 __m256i SplitPairs(__m256i words, bool exchange) {
  constexpr LaneIndex kSplit = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
  constexpr LaneIndex kExchange = {2, 3, 6, 7, 10, 11, 14, 15, 0, 1, 4, 5, 8, 9, 12, 13};
  return ExchangeMiddle(Shuffle(words, exchange ? kExchange : kSplit));
}

template <bool kChromaFirst, bool kCrFirst>
struct PackedYuvReader {
  static constexpr int kMcuBytes = 32;
  TKMJPG_INLINE_AVX2 static LinePair ReadPair(const uint8_t* first, const uint8_t* second) {
    const __m256i a = Load(first), b = Load(second);
    const __m256i low = LowBytes(a, b), high = HighBytes(a, b);
    return kChromaFirst ? LinePair{high, SplitPairs(low, kCrFirst)}
                        : LinePair{low, SplitPairs(high, kCrFirst)};
  }
};

// McuSamples: a line's bytes alternate between the four blocks.
struct SampleReader {
  TKMJPG_INLINE_AVX2 static LinePair ReadPair(const uint8_t* first, const uint8_t* second) {
    constexpr LaneIndex kSecondLuma = {-1, 0, -1, 4, -1, 8, -1, 12, -1, 1, -1, 5, -1, 9, -1, 13};
    constexpr LaneIndex kFirstLuma = {0, -1, 4, -1, 8, -1, 12, -1, 1, -1, 5, -1, 9, -1, 13, -1};
    const __m256i a = Load(first), b = Load(second);
    const __m256i luma = _mm256_or_si256(Shuffle(a, kFirstLuma), Shuffle(b, kSecondLuma));
    const __m256i chroma = _mm256_or_si256(Shuffle(_mm256_srli_epi32(a, 16), kFirstLuma),
                                           Shuffle(_mm256_srli_epi32(b, 16), kSecondLuma));
    return {ExchangeMiddle(luma), ExchangeMiddle(chroma)};
  }
};

struct Colours {
  __m256i b, g, r;  // of 16 pixels, in the high bytes of words
};

// Where to find a colour of the eight pixels of a lane in two loads of 16 bytes, the second of
// which begins at kStep.
template <int kPixelBytes>
struct PixelLoads {
  static constexpr int kStep = kPixelBytes == 4 ? 16 : 8;
  static constexpr LaneIndex MakeIndex(int colour, bool second) {
    LaneIndex index{};
    for (int x = 0; x < 8; ++x) {
      const int at = kPixelBytes * x + colour;
      index[2 * x] = -1;
      const bool in_second = at > 15;
      index[2 * x + 1] = static_cast<int8_t>(in_second != second ? -1 : at - (second ? kStep : 0));
    }
    return index;
  }
};

template <int kPixelBytes, int kColour>
TKMJPG_INLINE_AVX2 __m256i PickColour(__m256i a, __m256i b) {
  using Loads = PixelLoads<kPixelBytes>;
  static constexpr LaneIndex kFirst = Loads::MakeIndex(kColour, false);
  static constexpr LaneIndex kSecond = Loads::MakeIndex(kColour, true);
  return _mm256_or_si256(Shuffle(a, kFirst), Shuffle(b, kSecond));
}

template <int kPixelBytes>
TKMJPG_INLINE_AVX2 Colours LoadPixels(const uint8_t* line) {
  constexpr int kStep = PixelLoads<kPixelBytes>::kStep;
  const __m256i a = LoadHalves(line, line + 8 * kPixelBytes);
  const __m256i b = LoadHalves(line + kStep, line + 8 * kPixelBytes + kStep);
  return {PickColour<kPixelBytes, 0>(a, b), PickColour<kPixelBytes, 1>(a, b),
          PickColour<kPixelBytes, 2>(a, b)};
}

TKMJPG_INLINE_AVX2 __m256i Product(const ColourRule& rule, __m256i colour) {
  return _mm256_mulhi_epu16(colour, Words(rule.factor));
}

// Luma of 16 pixels in the high bytes: the sum of the three parts and 66, in quarters; [66, 942] x
// 64 fits 16 bits.
TKMJPG_INLINE_AVX2 __m256i LumaWords(const Colours& c) {
  const __m256i whole = Words(0xFFC0);
  const __m256i biased = _mm256_or_si256(c.r, Words(kLumaR.bias));
  const __m256i lr = _mm256_and_si256(Product(kLumaR, biased), whole);
  const __m256i lg = _mm256_and_si256(Product(kLumaG, c.g), whole);
  const __m256i lb = _mm256_and_si256(Product(kLumaB, c.b), whole);
  return _mm256_add_epi16(_mm256_add_epi16(lr, Words(66 << 6)), _mm256_add_epi16(lg, lb));
}

// Cb and Cr of the eight pairs, which alternate in fours: quarters summed over a pair, and 1026.
TKMJPG_INLINE_AVX2 __m256i ChromaWords(const Colours& c) {
  const __m256i cb_r = _mm256_srli_epi16(Product(kCbR, c.r), 7);
  const __m256i cb_g = _mm256_srli_epi16(Product(kCbG, c.g), 7);
  const __m256i cb_b = _mm256_srli_epi16(Product(kCbB, c.b), 7);
  const __m256i cb = _mm256_sub_epi16(cb_b, _mm256_add_epi16(cb_r, cb_g));
  const __m256i less = _mm256_subs_epu16(Product(kCrG, c.g), Words(kCrG.less));
  const __m256i cr_g = _mm256_srli_epi16(less, 7);
  const __m256i cr_r = _mm256_srli_epi16(Product(kCrR, c.r), 7);
  const __m256i cr_b = _mm256_srli_epi16(Product(kCrB, c.b), 7);
  const __m256i cr = _mm256_sub_epi16(cr_r, _mm256_add_epi16(cr_g, cr_b));
  const __m256i sums = _mm256_packs_epi32(_mm256_madd_epi16(cb, Words(1)),  //
                                          _mm256_madd_epi16(cr, Words(1)));
  return _mm256_srli_epi16(_mm256_add_epi16(sums, Words(2 * 513)), 3);
}

template <int kPixelBytes>
struct BgrReader {
  static constexpr int kMcuBytes = 16 * kPixelBytes;
  TKMJPG_INLINE_AVX2 static LinePair ReadPair(const uint8_t* first, const uint8_t* second) {
    const Colours a = LoadPixels<kPixelBytes>(first), b = LoadPixels<kPixelBytes>(second);
    const __m256i chroma = _mm256_or_si256(ChromaWords(a), _mm256_slli_epi16(ChromaWords(b), 8));
    return {HighBytes(LumaWords(a), LumaWords(b)), ExchangeMiddle(chroma)};
  }
};

// --- Transform --------------------------------------------------------------------------------

// The pass of forward_dct.cpp on 16 rows or columns at once.
TKMJPG_INLINE_AVX2 void ForwardPass(BlockPair& m) {
  __m256i* x = m.row;
  const __m256i s0 = Add(x[0], x[7]), d0 = Sub(x[0], x[7]);
  const __m256i s1 = Add(x[1], x[6]), d1 = Sub(x[1], x[6]);
  const __m256i s2 = Add(x[2], x[5]), d2 = Sub(x[2], x[5]);
  const __m256i s3 = Add(x[3], x[4]), d3 = Sub(x[3], x[4]);

  const __m256i e0 = Add(s0, s3), e1 = Add(s1, s2), e2 = Sub(s0, s3), e3 = Sub(s1, s2);
  const __m256i z = MulHigh(_mm256_slli_epi16(Add(e3, e2), 1), 23170);
  x[0] = Add(e0, e1);
  x[4] = Sub(e0, e1);
  x[2] = Add(e2, z);
  x[6] = Sub(e2, z);

  const __m256i a = Add(d3, d2), b = Add(d2, d1), c = Add(d1, d0);
  const __m256i r = MulHigh(_mm256_slli_epi16(b, 1), 25080);
  const __m256i p = MulHigh(_mm256_slli_epi16(d0, 2), 17734);
  const __m256i f = Add(p, r), e = Sub(p, r);
  const __m256i k = Add(c, MulHigh(a, 27146)), l = Sub(a, MulHigh(c, 27146));
  x[1] = Add(f, k);
  x[7] = Sub(f, k);
  x[5] = Add(e, l);
  x[3] = Sub(e, l);
}

// The four line pairs of two blocks to their eight columns of samples, as words.
TKMJPG_INLINE_AVX2 void SpreadColumns(const __m256i pairs[4], BlockPair& m) {
  const __m256i a = _mm256_unpacklo_epi16(pairs[0], pairs[1]);
  const __m256i b = _mm256_unpackhi_epi16(pairs[0], pairs[1]);
  const __m256i c = _mm256_unpacklo_epi16(pairs[2], pairs[3]);
  const __m256i d = _mm256_unpackhi_epi16(pairs[2], pairs[3]);
  const __m256i columns[4] = {_mm256_unpacklo_epi32(a, c), _mm256_unpackhi_epi32(a, c),
                              _mm256_unpacklo_epi32(b, d), _mm256_unpackhi_epi32(b, d)};
  for (int j = 0; j < 4; ++j) {
    m.row[2 * j] = _mm256_unpacklo_epi8(columns[j], _mm256_setzero_si256());
    m.row[2 * j + 1] = _mm256_unpackhi_epi8(columns[j], _mm256_setzero_si256());
  }
}

// TransformBias and the level shift.
constexpr std::array<int16_t, 64> MakeBias() {
  std::array<int16_t, 64> bias{};
  for (int n = 0; n < 64; ++n) bias[n] = kTransformBias[n];
  bias[0] = static_cast<int16_t>(bias[0] - 8192);
  return bias;
}
alignas(64) constexpr std::array<int16_t, 64> kBias = MakeBias();

// A level is never above 2047 and that of 0 is 0, so that the sign is put back to all.
TKMJPG_INLINE_AVX2 void Quantise(BlockPair& m, const QuantiserTable& quantiser) {
  for (int v = 0; v < 8; ++v) {
    const __m256i c = Add(m.row[v], LoadTwice(kBias.data() + 8 * v));
    const __m256i magnitude =
        Add(_mm256_abs_epi16(c), LoadTwice(quantiser.quant_correction.data() + 8 * v));
    const __m256i level =
        _mm256_mulhi_epi16(magnitude, LoadTwice(quantiser.quant_reciprocal.data() + 8 * v));
    m.row[v] = _mm256_sign_epi16(level, c);
  }
}

// Line pairs to quantised coefficients in rows, natural order.
TKMJPG_INLINE_AVX2 void TransformAndQuantise(const __m256i pairs[4],
                                             const QuantiserTable& quantiser, BlockPair& m) {
  SpreadColumns(pairs, m);
  ForwardPass(m);
  Transpose(m);
  ForwardPass(m);
  Quantise(m, quantiser);
}

// --- Blocks -----------------------------------------------------------------------------------

// Bytes of zig-zag quarter q out of rows 2 i and 2 i + 1.
constexpr LaneIndex MakeZigZagIndex(int q, int i) {
  LaneIndex index{};
  for (int k = 0; k < 16; ++k) {
    const int n = kZigZag[16 * q + k];
    index[k] = static_cast<int8_t>(n / 16 == i && n != 0 ? n % 16 : -1);
  }
  return index;
}
template <int q, int i>
constexpr LaneIndex kZigZagIndex = MakeZigZagIndex(q, i);

TKMJPG_INLINE_AVX2 __m256i Or(__m256i a, __m256i b) { return _mm256_or_si256(a, b); }

// One quarter of both blocks. The outer quarters have nothing of the rows at the other end.
template <int q>
TKMJPG_INLINE_AVX2 __m256i ZigZagQuarter(const __m256i rows[4]) {
  const __m256i inner =
      Or(Shuffle(rows[1], kZigZagIndex<q, 1>), Shuffle(rows[2], kZigZagIndex<q, 2>));
  if constexpr (q == 0) return Or(inner, Shuffle(rows[0], kZigZagIndex<q, 0>));
  if constexpr (q == 3) return Or(inner, Shuffle(rows[3], kZigZagIndex<q, 3>));
  return Or(inner, Or(Shuffle(rows[0], kZigZagIndex<q, 0>), Shuffle(rows[3], kZigZagIndex<q, 3>)));
}

TKMJPG_INLINE_AVX2 uint64_t NonZero(__m256i bytes) {
  const __m256i zeros = _mm256_cmpeq_epi8(bytes, _mm256_setzero_si256());
  return ~static_cast<uint32_t>(_mm256_movemask_epi8(zeros));
}

TKMJPG_INLINE_AVX2 void StoreBlock(CodedBlock& block, __m256i low, __m256i high, int dc,
                                   bool limited) {
  Store(block.levels.data(), low);
  Store(block.levels.data() + 32, high);
  block.nonzero = NonZero(low) | NonZero(high) << 32;
  block.dc = static_cast<int16_t>(dc);
  block.limited = limited;
}

// Whether a byte is at an end of its range, where narrowing may have limited it.
TKMJPG_INLINE_AVX2 bool AnyLimited(__m256i a, __m256i b, __m256i c, __m256i d) {
  const __m256i ab = _mm256_max_epu8(_mm256_abs_epi8(a), _mm256_abs_epi8(b));
  const __m256i cd = _mm256_max_epu8(_mm256_abs_epi8(c), _mm256_abs_epi8(d));
  const __m256i excess = _mm256_subs_epu8(_mm256_max_epu8(ab, cd), _mm256_set1_epi8(126));
  return _mm256_testz_si256(excess, excess) == 0;
}

TKMJPG_INLINE_AVX2 void StorePair(const BlockPair& m, CodedBlock* blocks, int16_t* words) {
  __m256i rows[4];
  for (int i = 0; i < 4; ++i) rows[i] = _mm256_packs_epi16(m.row[2 * i], m.row[2 * i + 1]);
  const __m256i q0 = ZigZagQuarter<0>(rows), q1 = ZigZagQuarter<1>(rows);
  const __m256i q2 = ZigZagQuarter<2>(rows), q3 = ZigZagQuarter<3>(rows);
  const bool limited = AnyLimited(q0, q1, q2, q3);
  if (limited) [[unlikely]] {
    for (int v = 0; v < 8; ++v) Store(words + 16 * v, m.row[v]);
  }
  StoreBlock(blocks[0], _mm256_permute2x128_si256(q0, q1, 0x20),
             _mm256_permute2x128_si256(q2, q3, 0x20), _mm256_extract_epi16(m.row[0], 0), limited);
  StoreBlock(blocks[1], _mm256_permute2x128_si256(q0, q1, 0x31),
             _mm256_permute2x128_si256(q2, q3, 0x31), _mm256_extract_epi16(m.row[0], 8), limited);
}

// --- Rows -------------------------------------------------------------------------------------

template <typename Reader>
TKMJPG_INLINE_AVX2 void TransformMcu(const uint8_t* const rows[8], size_t offset,
                                     const std::array<QuantiserTable, 2>& quantisers,
                                     BlockPair& luma, BlockPair& chroma) {
  __m256i luma_pairs[4], chroma_pairs[4];
  for (int i = 0; i < 4; ++i) {
    const LinePair pair = Reader::ReadPair(rows[2 * i] + offset, rows[2 * i + 1] + offset);
    luma_pairs[i] = pair.luma;
    chroma_pairs[i] = pair.chroma;
  }
  TransformAndQuantise(luma_pairs, quantisers[0], luma);
  TransformAndQuantise(chroma_pairs, quantisers[1], chroma);
}

template <typename Reader>
TKMJPG_INLINE_AVX2 void AddMcu(const uint8_t* const rows[8], size_t offset,
                               const std::array<QuantiserTable, 2>& quantisers, McuChunk& chunk,
                               uint32_t mcu) {
  BlockPair luma, chroma;
  TransformMcu<Reader>(rows, offset, quantisers, luma, chroma);
  StorePair(luma, &chunk.blocks[4 * mcu], chunk.words[2 * mcu].data());
  StorePair(chroma, &chunk.blocks[4 * mcu + 2], chunk.words[2 * mcu + 1].data());
}

// The MCU that the line's end cuts.
template <typename Reader>
TKMJPG_TARGET_AVX2 void AddCutMcu(const EncoderContext& context,
                                  const std::array<const uint8_t*, 8>& rows, size_t offset,
                                  McuChunk& chunk, uint32_t mcu) {
  uint8_t padded[8][64];
  const uint8_t* padded_rows[8];
  for (int r = 0; r < 8; ++r) {
    PadLine(rows[r] + offset, context.width % 16, context.pixel_format, padded[r]);
    padded_rows[r] = padded[r];
  }
  AddMcu<Reader>(padded_rows, 0, context.quantisers, chunk, mcu);
}

template <typename Reader>
TKMJPG_TARGET_AVX2 void FillChunk(const EncoderContext& context,
                                  const std::array<const uint8_t*, 8>& rows, uint32_t column,
                                  uint32_t count, McuChunk& chunk) {
  const uint32_t whole_mcus = static_cast<uint32_t>(context.width) / 16;
  for (uint32_t i = 0; i < count; ++i) {
    const size_t offset = size_t{column + i} * Reader::kMcuBytes;
    if (column + i < whole_mcus) [[likely]] {
      PrefetchBandBelow(rows.data(), 8, offset);
      AddMcu<Reader>(rows.data(), offset, context.quantisers, chunk, i);
    } else {
      AddCutMcu<Reader>(context, rows, offset, chunk, i);
    }
  }
}

}  // namespace

ChunkFiller SelectChunkFillerAvx2(PixelFormatCode format) {
  switch (format) {
    case PixelFormatCode::kYuyv:
    case PixelFormatCode::kYuyvFull:
      return FillChunk<PackedYuvReader<false, false>>;
    case PixelFormatCode::kUyvy:
    case PixelFormatCode::kUyvyFull:
      return FillChunk<PackedYuvReader<true, false>>;
    case PixelFormatCode::kVyuy:
      return FillChunk<PackedYuvReader<true, true>>;
    case PixelFormatCode::kBgr24:
      return FillChunk<BgrReader<3>>;
    case PixelFormatCode::kBgrx32:
    case PixelFormatCode::kBgra32:
      return FillChunk<BgrReader<4>>;
    default:
      return nullptr;
  }
}

// For McuSamples: the transform alone.
TKMJPG_TARGET_AVX2 void ForwardTransformMcuAvx2(const uint8_t* samples,
                                                const std::array<QuantiserTable, 2>& quantisers,
                                                McuCoefficients& coefficients) {
  const uint8_t* rows[8];
  for (int r = 0; r < 8; ++r) rows[r] = samples + 32 * r;
  BlockPair pairs[2];
  TransformMcu<SampleReader>(rows, 0, quantisers, pairs[0], pairs[1]);
  for (int p = 0; p < 2; ++p) {
    alignas(32) int16_t natural[8 * 16];
    for (int v = 0; v < 8; ++v) Store(natural + 16 * v, pairs[p].row[v]);
    for (int k = 0; k < 64; ++k) {
      const int n = kZigZag[k];
      coefficients.blocks[2 * p][k] = natural[16 * (n / 8) + n % 8];
      coefficients.blocks[2 * p + 1][k] = natural[16 * (n / 8) + 8 + n % 8];
    }
  }
}

}  // namespace tkmjpg
