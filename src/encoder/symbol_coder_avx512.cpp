// Symbols 64 positions or 16 codes at a time. A block's non-zero levels and their positions are
// squeezed together by its mask; codes come from one gather and leave in fours.
#include "encoder/symbol_coder_avx512.h"

#include <immintrin.h>

#include <bit>
#include <cstring>

#include "cpu/targets.h"
#include "encoder/entropy_output.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

using ByteIndex = std::array<uint8_t, 64>;

constexpr ByteIndex MakePositions(uint32_t first) {
  ByteIndex positions{};
  for (uint32_t k = 0; k < 64; ++k) positions[k] = static_cast<uint8_t>(first + k);
  return positions;
}
alignas(64) constexpr ByteIndex kLumaPositions = MakePositions(0);
alignas(64) constexpr ByteIndex kChromaPositions = MakePositions(kChromaPosition);

// Appends a block's symbols to the `count` ones there are and returns how many there are then.
// `levels` holds its coefficients as bytes in zig-zag order, `exact` them as words in natural order
// when bytes do not hold them all, else null.
TKMJPG_INLINE_AVX512 int AppendBlock(Symbols& symbols, int count, __m512i levels,
                                     const ByteIndex& positions, int dc_difference,
                                     const int16_t* exact) {
  const uint64_t nonzero = _mm512_test_epi8_mask(levels, levels) | 1;
  const int last = 63 - std::countl_zero(nonzero);
  const uint64_t mask = WithZeroSymbols(nonzero, last);
  int16_t* values = symbols.values.data() + count;
  const __m512i packed = _mm512_maskz_compress_epi8(mask, levels);
  _mm512_storeu_si512(values, _mm512_cvtepi8_epi16(_mm512_castsi512_si256(packed)));
  const int added = std::popcount(mask);
  if (added > 32) [[unlikely]] {
    _mm512_storeu_si512(values + 32, _mm512_cvtepi8_epi16(_mm512_extracti64x4_epi64(packed, 1)));
  }
  _mm512_storeu_si512(symbols.positions() + count,
                      _mm512_maskz_compress_epi8(mask, _mm512_load_si512(positions.data())));
  if (exact != nullptr) [[unlikely]] {
    uint64_t rest = mask;
    for (int i = 0; rest != 0; ++i, rest &= rest - 1) {
      const int n = kZigZag[std::countr_zero(rest)];
      values[i] = exact[32 * (n / 8) + n % 8];
    }
  }
  values[0] = static_cast<int16_t>(dc_difference);
  return count + added;
}

// Codes one behind the other that go to the output in one step.
struct Units {
  // With the bits that wait, a step fills no more than 64.
  static constexpr int kMostBits = 57;
  static constexpr int kCapacity = (kChunkSymbols + kSlack) / 2;
  alignas(64) uint64_t codes[kCapacity];
  alignas(64) uint8_t lengths[kCapacity];
  int count = 0;
};

TKMJPG_INLINE_AVX512 void StoreUnits(Units& units, int count, __m512i codes, __m512i lengths) {
  _mm512_storeu_si512(units.codes + units.count, codes);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(units.lengths + units.count),
                   _mm512_cvtepi64_epi8(lengths));
  units.count += count;
}

// Appends the codes of 16 symbols, four to a unit; or two, when four are too long.
TKMJPG_INLINE_AVX512 void AppendCodes(const int16_t* values, const uint8_t* positions,
                                      __mmask16 valid, Units& units) {
  const __m512i value =
      _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(values)));
  const __m512i position =
      _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(positions)));
  const __m512i previous =
      _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(positions - 1)));
  const __m512i size =
      _mm512_sub_epi32(_mm512_set1_epi32(32), _mm512_lzcnt_epi32(_mm512_abs_epi32(value)));

  const __mmask16 is_dc = _mm512_testn_epi32_mask(position, _mm512_set1_epi32(63));
  const __m512i run = _mm512_sub_epi32(_mm512_sub_epi32(position, previous), _mm512_set1_epi32(1));
  const __m512i row =
      _mm512_mask_mov_epi32(_mm512_slli_epi32(run, 4), is_dc, _mm512_set1_epi32(kDcEntries));
  const __m512i chroma =
      _mm512_slli_epi32(_mm512_and_si512(position, _mm512_set1_epi32(kChromaPosition)), 2);
  const __m512i index = _mm512_add_epi32(_mm512_add_epi32(row, chroma), size);
  const __m512i entry =
      _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), valid, index, kSymbolTable.data(), 4);

  // Negative values as one's complement, in `size` bits.
  const __m512i complement = _mm512_add_epi32(value, _mm512_srai_epi32(value, 31));
  const __m512i amplitude =
      _mm512_andnot_si512(_mm512_sllv_epi32(_mm512_set1_epi32(-1), size), complement);
  const __m512i code =
      _mm512_mask_or_epi32(_mm512_setzero_si512(), valid, _mm512_srli_epi32(entry, 6), amplitude);
  const __m512i length = _mm512_and_si512(entry, _mm512_set1_epi32(63));

  const __m512i low = _mm512_set1_epi64(0xFFFFFFFF);
  const __m512i second_length = _mm512_srli_epi64(length, 32);
  const __m512i pairs = _mm512_or_si512(
      _mm512_sllv_epi64(_mm512_and_si512(code, low), second_length), _mm512_srli_epi64(code, 32));
  const __m512i pair_lengths =
      _mm512_add_epi64(_mm512_and_si512(length, low), second_length);  // [0, 52]

  const __m512i last_length = _mm512_unpackhi_epi64(pair_lengths, pair_lengths);
  const __m512i fours =
      _mm512_or_si512(_mm512_sllv_epi64(pairs, last_length), _mm512_unpackhi_epi64(pairs, pairs));
  const __m512i four_lengths = _mm512_add_epi64(pair_lengths, last_length);
  constexpr __mmask8 kEven = 0x55;
  if (_mm512_mask_cmpgt_epi64_mask(kEven, four_lengths, _mm512_set1_epi64(Units::kMostBits)) != 0)
      [[unlikely]] {
    return StoreUnits(units, 8, pairs, pair_lengths);
  }
  StoreUnits(units, 4, _mm512_maskz_compress_epi64(kEven, fours),
             _mm512_maskz_compress_epi64(kEven, four_lengths));
}

}  // namespace

TKMJPG_TARGET_AVX512 int AppendChunkAvx512(const ChunkLevels& chunk, int mcus,
                                           std::array<int32_t, 3>& last_dc_store,
                                           Symbols& symbols) {
  std::array<int32_t, 3> last_dc = last_dc_store;
  int count = 0;
  for (int mcu = 0; mcu < mcus; ++mcu) {
    const int16_t* dc = chunk.dc[mcu];
    const int32_t difference[4] = {dc[0] - last_dc[0], dc[1] - dc[0], dc[2] - last_dc[1],
                                   dc[3] - last_dc[2]};
    last_dc = {dc[1], dc[2], dc[3]};
    for (int l = 0; l < 4; ++l) {
      count = AppendBlock(symbols, count, _mm512_load_si512(chunk.levels[mcu][l]),
                          l < 2 ? kLumaPositions : kChromaPositions, difference[l],
                          chunk.limited[mcu] ? chunk.exact[mcu] + 8 * l : nullptr);
    }
  }
  last_dc_store = last_dc;
  return count;
}

TKMJPG_TARGET_AVX512 void PackSymbolsAvx512(Symbols& symbols, int count, RawBits& raw) {
  Units units;
  for (int i = 0; i < count; i += 16) {
    const int left = count - i;
    const auto valid = static_cast<__mmask16>(left >= 16 ? 0xFFFF : (1 << left) - 1);
    AppendCodes(symbols.values.data() + i, symbols.positions() + i, valid, units);
  }
  uint64_t accumulator = raw.accumulator, pending = raw.count;
  uint8_t* write = raw.write;
  for (int i = 0; i < units.count; ++i) {
    // Stored by the intrinsics in StoreUnits, into which the analyzer does not look.
    const uint64_t length = units.lengths[i];  // NOLINT(clang-analyzer-core.uninitialized.Assign)
    accumulator = accumulator << length | units.codes[i];
    pending += length;
    const uint64_t bytes = __builtin_bswap64(accumulator << (-pending & 63));
    std::memcpy(write, &bytes, 8);
    write += pending >> 3;
    pending &= 7;
  }
  raw.accumulator = accumulator;
  raw.count = pending;
  raw.write = write;
}

TKMJPG_TARGET_AVX512 void AppendStuffedAvx512(EntropyOutput& output, RawBits& raw) {
  const uint8_t* from = raw.bytes.data();
  auto left = static_cast<size_t>(raw.write - from);
  raw.write = raw.bytes.data();
  if (output.output_position + 2 * left + 64 > output.output_capacity) {
    for (size_t i = 0; i < left; ++i) PutEntropyByte(output, from[i]);
    return;
  }
  uint8_t* to = output.output_start + output.output_position;
  while (left > 0) {
    const uint64_t valid = left >= 64 ? ~uint64_t{0} : (uint64_t{1} << left) - 1;
    const __m512i bytes = _mm512_maskz_loadu_epi8(valid, from);
    const uint64_t ones = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(-1));
    _mm512_storeu_si512(to, bytes);
    if (ones == 0) {
      const size_t step = left >= 64 ? 64 : left;
      from += step, to += step, left -= step;
    } else {
      const auto step = static_cast<size_t>(std::countr_zero(ones)) + 1;
      from += step, to += step, left -= step;
      *to++ = 0;
    }
  }
  output.output_position = static_cast<uint64_t>(to - output.output_start);
}

}  // namespace tkmjpg
