// EncodeMcuRow for AVX-512. An MCU stays in registers from its pixels to its quantised
// coefficients: four blocks of eight words are one 512-bit register, a row of each block in a
// 128-bit lane, so that both passes of the transform and the quantiser are the plain arithmetic on
// 32 words at once. RGB goes through multiplications whose constants give the plain table's value
// for each of the 256 inputs. Coefficients are narrowed to bytes (the few blocks with larger ones
// take a way of their own), put into zig-zag order with one permutation and squeezed to the
// non-zero ones, and their codes are made 16 at a time (symbol_coder_avx512.cpp).
#include <immintrin.h>

#include <bit>
#include <cstring>

#include "cpu/block_rows_avx512.h"
#include "cpu/prefetch.h"
#include "cpu/targets.h"
#include "encoder/colour_rules.h"
#include "encoder/encoder_kernels.h"
#include "encoder/symbol_coder_avx512.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

using ByteIndex = std::array<uint8_t, 64>;

// Where the samples of two lines of an MCU lie within a register, by layout. Sample (line, x) of
// luma and (line, k) of chroma.
struct YuyvOrder {
  static constexpr int Luma(int line, int x) { return 32 * line + 2 * x; }
  static constexpr int Chroma(int line, int k, bool cr) { return 32 * line + 4 * k + (cr ? 3 : 1); }
};
struct UyvyOrder {
  static constexpr int Luma(int line, int x) { return 32 * line + 2 * x + 1; }
  static constexpr int Chroma(int line, int k, bool cr) { return 32 * line + 4 * k + (cr ? 2 : 0); }
};
struct VyuyOrder {
  static constexpr int Luma(int line, int x) { return 32 * line + 2 * x + 1; }
  static constexpr int Chroma(int line, int k, bool cr) { return 32 * line + 4 * k + (cr ? 0 : 2); }
};
// The order that ConvertBgr leaves: words of the even pixels of both lines, the odd ones, Cb, Cr;
// packed to bytes within 128-bit lanes.
struct BgrOrder {
  static constexpr int PackedByte(int word, int half) {
    return 16 * (word / 8) + 8 * half + word % 8;
  }
  static constexpr int Luma(int line, int x) {
    return PackedByte(16 * (x % 2) + 8 * line + x / 2, 0);
  }
  static constexpr int Chroma(int line, int k, bool cr) {
    return PackedByte((cr ? 16 : 0) + 8 * line + k, 1);
  }
};
// McuSamples, two lines of 32 bytes.
struct SampleOrder {
  static constexpr int Luma(int line, int x) { return 32 * line + 4 * (x % 8) + x / 8; }
  static constexpr int Chroma(int line, int k, bool cr) { return 32 * line + 4 * k + (cr ? 3 : 2); }
};

// Byte 16 l + 4 j + 2 line + odd: sample 2 j + odd of a line of block l.
template <typename Order>
constexpr ByteIndex MakeGatherIndex() {
  ByteIndex index{};
  for (int i = 0; i < 64; ++i) {
    const int l = i / 16, s = 2 * (i / 4 % 4) + i % 2, line = i / 2 % 2;
    index[i] =
        static_cast<uint8_t>(l < 2 ? Order::Luma(line, 8 * l + s) : Order::Chroma(line, s, l == 3));
  }
  return index;
}

template <typename Order>
alignas(64) constexpr ByteIndex kGatherIndex = MakeGatherIndex<Order>();

alignas(64) constexpr ByteIndex kZigZagIndex = kZigZag;

TKMJPG_INLINE_AVX512 __m512i LoadIndex(const ByteIndex& index) {
  return _mm512_load_si512(index.data());
}

// Two lines of 32 bytes side by side.
TKMJPG_INLINE_AVX512 __m512i LoadLinePair(const uint8_t* first, const uint8_t* second) {
  const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(first));
  const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(second));
  return _mm512_inserti64x4(_mm512_castsi256_si512(a), b, 1);
}

// --- RGB --------------------------------------------------------------------------------------

// Word w of the register for one colour is that colour of pixel (w % 8) * 2 + w / 16 of line
// w / 8 % 2, in the high byte. Bytes 64 and up are the second line's.
template <int kPixelBytes>
constexpr ByteIndex MakeColourIndex(int colour) {
  ByteIndex index{};
  for (int w = 0; w < 32; ++w) {
    const int x = 2 * (w % 8) + w / 16, line = w / 8 % 2;
    index[2 * w + 1] = static_cast<uint8_t>(64 * line + kPixelBytes * x + colour);
  }
  return index;
}
template <int kPixelBytes, int kColour>
alignas(64) constexpr ByteIndex kColourIndex = MakeColourIndex<kPixelBytes>(kColour);

TKMJPG_INLINE_AVX512 __m512i Product(const ColourRule& rule, __m512i colour) {
  return _mm512_mulhi_epu16(colour, Words(rule.factor));
}

// Luma of 32 pixels: the sum of the three parts and 66, in quarters; [66, 942] x 64 fits 16 bits.
TKMJPG_INLINE_AVX512 __m512i LumaWords(__m512i b, __m512i g, __m512i r) {
  const __m512i whole = Words(0xFFC0);
  const __m512i biased = _mm512_or_si512(r, Words(kLumaR.bias));
  const __m512i lr = _mm512_and_si512(Product(kLumaR, biased), whole);
  const __m512i lg = _mm512_and_si512(Product(kLumaG, g), whole);
  const __m512i lb = _mm512_and_si512(Product(kLumaB, b), whole);
  const __m512i sum =
      _mm512_add_epi16(_mm512_add_epi16(lr, Words(66 << 6)), _mm512_add_epi16(lg, lb));
  return _mm512_srli_epi16(sum, 8);
}

// Chroma parts of 32 pixels in quarters, less their offset of 513.
TKMJPG_INLINE_AVX512 __m512i CbWords(__m512i b, __m512i g, __m512i r) {
  const __m512i pr = _mm512_srli_epi16(Product(kCbR, r), 7);
  const __m512i pg = _mm512_srli_epi16(Product(kCbG, g), 7);
  const __m512i pb = _mm512_srli_epi16(Product(kCbB, b), 7);
  return _mm512_sub_epi16(pb, _mm512_add_epi16(pr, pg));
}
TKMJPG_INLINE_AVX512 __m512i CrWords(__m512i b, __m512i g, __m512i r) {
  const __m512i pr = _mm512_srli_epi16(Product(kCrR, r), 7);
  const __m512i pg = _mm512_srli_epi16(_mm512_subs_epu16(Product(kCrG, g), Words(kCrG.less)), 7);
  const __m512i pb = _mm512_srli_epi16(Product(kCrB, b), 7);
  return _mm512_sub_epi16(pr, _mm512_add_epi16(pg, pb));
}

// Two lines of 16 pixels to the bytes of BgrOrder.
template <int kPixelBytes>
TKMJPG_INLINE_AVX512 __m512i ConvertBgr(const uint8_t* first, const uint8_t* second) {
  constexpr uint64_t kBytes = kPixelBytes == 4 ? ~uint64_t{0} : (uint64_t{1} << 48) - 1;
  constexpr uint64_t kHighBytes = 0xAAAAAAAAAAAAAAAA;
  const __m512i a = _mm512_maskz_loadu_epi8(kBytes, first);
  const __m512i c = _mm512_maskz_loadu_epi8(kBytes, second);
  const __m512i b =
      _mm512_maskz_permutex2var_epi8(kHighBytes, a, LoadIndex(kColourIndex<kPixelBytes, 0>), c);
  const __m512i g =
      _mm512_maskz_permutex2var_epi8(kHighBytes, a, LoadIndex(kColourIndex<kPixelBytes, 1>), c);
  const __m512i r =
      _mm512_maskz_permutex2var_epi8(kHighBytes, a, LoadIndex(kColourIndex<kPixelBytes, 2>), c);
  const __m512i cb = CbWords(b, g, r), cr = CrWords(b, g, r);
  const __m512i even = _mm512_shuffle_i64x2(cb, cr, 0x44), odd = _mm512_shuffle_i64x2(cb, cr, 0xEE);
  const __m512i pairs = _mm512_add_epi16(_mm512_add_epi16(even, odd), Words(2 * 513));
  return _mm512_packus_epi16(LumaWords(b, g, r), _mm512_srli_epi16(pairs, 3));
}

// --- Transform --------------------------------------------------------------------------------

// The pass of forward_dct.cpp on 32 rows or columns at once.
TKMJPG_INLINE_AVX512 void ForwardPass(McuRegisters& m) {
  __m512i* x = m.row;
  const __m512i s0 = Add(x[0], x[7]), d0 = Sub(x[0], x[7]);
  const __m512i s1 = Add(x[1], x[6]), d1 = Sub(x[1], x[6]);
  const __m512i s2 = Add(x[2], x[5]), d2 = Sub(x[2], x[5]);
  const __m512i s3 = Add(x[3], x[4]), d3 = Sub(x[3], x[4]);

  const __m512i e0 = Add(s0, s3), e1 = Add(s1, s2), e2 = Sub(s0, s3), e3 = Sub(s1, s2);
  const __m512i z = MulHigh(_mm512_slli_epi16(Add(e3, e2), 1), 23170);
  x[0] = Add(e0, e1);
  x[4] = Sub(e0, e1);
  x[2] = Add(e2, z);
  x[6] = Sub(e2, z);

  const __m512i a = Add(d3, d2), b = Add(d2, d1), c = Add(d1, d0);
  const __m512i r = MulHigh(_mm512_slli_epi16(b, 1), 25080);
  const __m512i p = MulHigh(_mm512_slli_epi16(d0, 2), 17734);
  const __m512i f = Add(p, r), e = Sub(p, r);
  const __m512i k = Add(c, MulHigh(a, 27146)), l = Sub(a, MulHigh(c, 27146));
  x[1] = Add(f, k);
  x[7] = Sub(f, k);
  x[5] = Add(e, l);
  x[3] = Sub(e, l);
}

// Gathered line pairs (0 and 1, 2 and 3, ...) to the eight columns of samples, as words.
TKMJPG_INLINE_AVX512 void SpreadColumns(const __m512i pairs[4], McuRegisters& m) {
  const __m512i a = _mm512_unpacklo_epi32(pairs[0], pairs[1]);
  const __m512i b = _mm512_unpackhi_epi32(pairs[0], pairs[1]);
  const __m512i c = _mm512_unpacklo_epi32(pairs[2], pairs[3]);
  const __m512i d = _mm512_unpackhi_epi32(pairs[2], pairs[3]);
  const __m512i columns[4] = {_mm512_unpacklo_epi64(a, c), _mm512_unpackhi_epi64(a, c),
                              _mm512_unpacklo_epi64(b, d), _mm512_unpackhi_epi64(b, d)};
  for (int j = 0; j < 4; ++j) {
    m.row[2 * j] = _mm512_and_si512(columns[j], Words(0xFF));
    m.row[2 * j + 1] = _mm512_srli_epi16(columns[j], 8);
  }
}

// Reciprocals, corrections and biases of a row of coefficients, by lane.
struct LaneTables {
  __m512i reciprocal[8], correction[8], bias[8];
};

TKMJPG_INLINE_AVX512 __m512i TwoTables(const uint16_t* luma, const uint16_t* chroma) {
  const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(luma));
  const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(chroma));
  const __m512i both = _mm512_inserti32x4(_mm512_castsi128_si512(a), b, 1);
  return _mm512_shuffle_i64x2(both, both, 0x50);  // luma, luma, chroma, chroma
}

TKMJPG_TARGET_AVX512 void BuildLaneTables(const std::array<QuantiserTable, 2>& quantisers,
                                          LaneTables& tables) {
  for (int v = 0; v < 8; ++v) {
    tables.reciprocal[v] = TwoTables(quantisers[0].quant_reciprocal.data() + 8 * v,
                                     quantisers[1].quant_reciprocal.data() + 8 * v);
    tables.correction[v] = TwoTables(quantisers[0].quant_correction.data() + 8 * v,
                                     quantisers[1].quant_correction.data() + 8 * v);
    uint16_t bias[8];
    for (int u = 0; u < 8; ++u) bias[u] = static_cast<uint16_t>(kTransformBias[8 * v + u]);
    if (v == 0) bias[0] = static_cast<uint16_t>(bias[0] - 8192);  // the level shift
    tables.bias[v] = TwoTables(bias, bias);
  }
}

TKMJPG_INLINE_AVX512 __m512i Quantise(__m512i words, const LaneTables& tables, int v) {
  const __m512i c = Add(words, tables.bias[v]);
  const __m512i magnitude = Add(_mm512_abs_epi16(c), tables.correction[v]);
  const __m512i level = _mm512_mulhi_epi16(magnitude, tables.reciprocal[v]);
  return _mm512_mask_sub_epi16(level, _mm512_movepi16_mask(c), _mm512_setzero_si512(), level);
}

// Samples in columns to quantised coefficients in rows, natural order.
TKMJPG_INLINE_AVX512 void TransformAndQuantise(McuRegisters& m, const LaneTables& tables) {
  ForwardPass(m);
  Transpose(m);
  ForwardPass(m);
  for (int v = 0; v < 8; ++v) m.row[v] = Quantise(m.row[v], tables, v);
}

// --- Levels -----------------------------------------------------------------------------------

// Lane l of four registers, for each l.
TKMJPG_INLINE_AVX512 void TransposeLanes(__m512i x[4]) {
  const __m512i a = _mm512_shuffle_i64x2(x[0], x[1], 0x44);
  const __m512i b = _mm512_shuffle_i64x2(x[2], x[3], 0x44);
  const __m512i c = _mm512_shuffle_i64x2(x[0], x[1], 0xEE);
  const __m512i d = _mm512_shuffle_i64x2(x[2], x[3], 0xEE);
  x[0] = _mm512_shuffle_i64x2(a, b, 0x88);
  x[1] = _mm512_shuffle_i64x2(a, b, 0xDD);
  x[2] = _mm512_shuffle_i64x2(c, d, 0x88);
  x[3] = _mm512_shuffle_i64x2(c, d, 0xDD);
}

// Whether a byte is at an end of its range, where narrowing may have limited it.
TKMJPG_INLINE_AVX512 bool AnyLimited(const __m512i levels[4]) {
  const __m512i offset = _mm512_set1_epi8(127);  // [-127, 126] to [0, 253]
  const __m512i a =
      _mm512_max_epu8(_mm512_add_epi8(levels[0], offset), _mm512_add_epi8(levels[1], offset));
  const __m512i b =
      _mm512_max_epu8(_mm512_add_epi8(levels[2], offset), _mm512_add_epi8(levels[3], offset));
  return _mm512_cmpgt_epu8_mask(_mm512_max_epu8(a, b), _mm512_set1_epi8(static_cast<char>(253))) !=
         0;
}

TKMJPG_INLINE_AVX512 void StoreLevels(const McuRegisters& m, ChunkLevels& chunk, int mcu) {
  int16_t* exact = chunk.exact[mcu];
  _mm512_store_si512(exact, m.row[0]);
  __m512i levels[4];
  for (int i = 0; i < 4; ++i) levels[i] = _mm512_packs_epi16(m.row[2 * i], m.row[2 * i + 1]);
  TransposeLanes(levels);
  for (int l = 0; l < 4; ++l) {
    levels[l] = _mm512_maskz_permutexvar_epi8(~uint64_t{1}, LoadIndex(kZigZagIndex), levels[l]);
    _mm512_store_si512(chunk.levels[mcu][l], levels[l]);
  }
  chunk.limited[mcu] = AnyLimited(levels);
  if (chunk.limited[mcu]) [[unlikely]] {
    for (int v = 1; v < 8; ++v) _mm512_store_si512(exact + 32 * v, m.row[v]);
  }
  for (int l = 0; l < 4; ++l) chunk.dc[mcu][l] = exact[8 * l];
}

// --- Rows -------------------------------------------------------------------------------------

// One way to read an MCU's lines: its two lines as one register in a known order of bytes.
template <typename Order_>
struct PackedYuvReader {
  using Order = Order_;
  static constexpr int kMcuBytes = 32;
  TKMJPG_INLINE_AVX512 static __m512i ReadPair(const uint8_t* a, const uint8_t* b) {
    return LoadLinePair(a, b);
  }
};
template <int kPixelBytes>
struct BgrReader {
  using Order = BgrOrder;
  static constexpr int kMcuBytes = 16 * kPixelBytes;
  TKMJPG_INLINE_AVX512 static __m512i ReadPair(const uint8_t* a, const uint8_t* b) {
    return ConvertBgr<kPixelBytes>(a, b);
  }
};

template <typename Reader>
TKMJPG_INLINE_AVX512 void TransformMcu(const uint8_t* const rows[8], size_t offset,
                                       const LaneTables& tables, ChunkLevels& chunk, int mcu) {
  const __m512i index = LoadIndex(kGatherIndex<typename Reader::Order>);
  __m512i pairs[4];
  for (int i = 0; i < 4; ++i) {
    pairs[i] = _mm512_permutexvar_epi8(
        index, Reader::ReadPair(rows[2 * i] + offset, rows[2 * i + 1] + offset));
  }
  McuRegisters m;
  SpreadColumns(pairs, m);
  TransformAndQuantise(m, tables);
  StoreLevels(m, chunk, mcu);
}

// The MCU that the line's end cuts, from copies of its lines with the last pixel repeated.
template <typename Reader>
TKMJPG_TARGET_AVX512 void TransformCutMcu(const EncoderContext& context,
                                          const std::array<const uint8_t*, 8>& rows, size_t offset,
                                          const LaneTables& tables, ChunkLevels& chunk, int mcu) {
  uint8_t padded[8][64];
  const uint8_t* padded_rows[8];
  for (int r = 0; r < 8; ++r) {
    PadLine(rows[r] + offset, context.width % 16, context.pixel_format, padded[r]);
    padded_rows[r] = padded[r];
  }
  TransformMcu<Reader>(padded_rows, 0, tables, chunk, mcu);
}

template <typename Reader>
TKMJPG_TARGET_AVX512 void EncodeRow(EncoderContext& context,
                                    const std::array<const uint8_t*, 8>& rows) {
  LaneTables tables;
  BuildLaneTables(context.quantisers, tables);
  ChunkLevels chunk;
  Symbols symbols;
  symbols.positions()[-1] = 0;
  EntropyOutput& output = context.output;
  RawBits raw;
  raw.write = raw.bytes.data();
  raw.accumulator = output.bit_accumulator & ((1U << output.bit_count) - 1);
  raw.count = output.bit_count;

  const uint32_t whole_mcus = static_cast<uint32_t>(context.width) / 16;
  for (uint32_t column = 0; column < context.mcus_per_row; column += kChunkMcus) {
    const auto mcus =
        static_cast<int>(std::min<uint32_t>(kChunkMcus, context.mcus_per_row - column));
    const int whole = std::min(mcus, static_cast<int>(whole_mcus - column));
    size_t offset = size_t{column} * Reader::kMcuBytes;
    for (int mcu = 0; mcu < whole; ++mcu, offset += Reader::kMcuBytes) {
      PrefetchBandBelow(rows.data(), 8, offset);
      TransformMcu<Reader>(rows.data(), offset, tables, chunk, mcu);
    }
    if (whole < mcus) TransformCutMcu<Reader>(context, rows, offset, tables, chunk, whole);
    PackSymbolsAvx512(symbols, AppendChunkAvx512(chunk, mcus, context.last_dc, symbols), raw);
    AppendStuffedAvx512(output, raw);
  }
  output.bit_accumulator = static_cast<uint32_t>(raw.accumulator) & ((1U << raw.count) - 1);
  output.bit_count = static_cast<uint32_t>(raw.count);
}

}  // namespace

void EncodeMcuRowAvx512(EncoderContext& context, const std::array<const uint8_t*, 8>& rows) {
  if (context.restart_interval != 0) return EncodeMcuRow(context, rows);
  switch (context.pixel_format) {
    case PixelFormatCode::kYuyv:
    case PixelFormatCode::kYuyvFull:
      return EncodeRow<PackedYuvReader<YuyvOrder>>(context, rows);
    case PixelFormatCode::kUyvy:
    case PixelFormatCode::kUyvyFull:
      return EncodeRow<PackedYuvReader<UyvyOrder>>(context, rows);
    case PixelFormatCode::kVyuy:
      return EncodeRow<PackedYuvReader<VyuyOrder>>(context, rows);
    case PixelFormatCode::kBgr24:
      return EncodeRow<BgrReader<3>>(context, rows);
    case PixelFormatCode::kBgrx32:
    case PixelFormatCode::kBgra32:
      return EncodeRow<BgrReader<4>>(context, rows);
    default:
      return EncodeMcuRow(context, rows);
  }
}

// For McuSamples: the transform alone.
TKMJPG_TARGET_AVX512 void ForwardTransformMcuAvx512(const uint8_t* samples,
                                                    const std::array<QuantiserTable, 2>& quantisers,
                                                    McuCoefficients& coefficients) {
  LaneTables tables;
  BuildLaneTables(quantisers, tables);
  __m512i pairs[4];
  for (int i = 0; i < 4; ++i) {
    pairs[i] = _mm512_permutexvar_epi8(LoadIndex(kGatherIndex<SampleOrder>),
                                       _mm512_loadu_si512(samples + 64 * i));
  }
  McuRegisters m;
  SpreadColumns(pairs, m);
  TransformAndQuantise(m, tables);
  alignas(64) int16_t natural[8 * 32];
  for (int v = 0; v < 8; ++v) _mm512_store_si512(natural + 32 * v, m.row[v]);
  for (int l = 0; l < 4; ++l) {
    for (int k = 0; k < 64; ++k) {
      const int n = kZigZag[k];
      coefficients.blocks[l][k] = natural[32 * (n / 8) + 8 * l + n % 8];
    }
  }
}

}  // namespace tkmjpg
