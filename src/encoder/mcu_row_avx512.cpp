// The fast rows for AVX-512: an MCU's four blocks are one register, its bytes are put in order by
// permutations, and symbols are made 64 positions at a time (coefficients_to_bits_avx512.inc).
#include "cpu/lanes_avx512.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace avx512 {
namespace {

using ByteIndex = std::array<uint8_t, 64>;

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/coefficients_to_bits_avx512.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
#include "encoder/packed_levels.inc"
// clang-format on

// --- Readers ------------------------------------------------------------------------------------

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
// Byte 16 l + 2 s + line: sample s of a line of block l.
template <typename Order>
constexpr ByteIndex MakeGatherIndex() {
  ByteIndex index{};
  for (int i = 0; i < 64; ++i) {
    const int l = i / 16, s = i / 2 % 8, line = i % 2;
    index[i] =
        static_cast<uint8_t>(l < 2 ? Order::Luma(line, 8 * l + s) : Order::Chroma(line, s, l == 3));
  }
  return index;
}

template <typename Order>
alignas(64) constexpr ByteIndex kGatherIndex = MakeGatherIndex<Order>();

// Two lines of 32 bytes side by side.
TKMJPG_LANES_INLINE Register LoadLinePair(const uint8_t* first, const uint8_t* second) {
  const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(first));
  const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(second));
  return _mm512_inserti64x4(_mm512_castsi256_si512(a), b, 1);
}

template <typename Order>
TKMJPG_LANES_INLINE LinePair Gather(Register bytes) {
  return {{_mm512_permutexvar_epi8(Load(kGatherIndex<Order>.data()), bytes)}};
}

template <bool kChromaFirst, bool kCrFirst>
struct PackedYuvReader {
  using Order = std::conditional_t<kCrFirst, VyuyOrder,
                                   std::conditional_t<kChromaFirst, UyvyOrder, YuyvOrder>>;
  static constexpr size_t kMcuBytes = 32;
  TKMJPG_LANES_INLINE static LinePair ReadPair(const uint8_t* first, const uint8_t* second) {
    return Gather<Order>(LoadLinePair(first, second));
  }
};

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

template <int kPixelBytes, int kColour>
TKMJPG_LANES_INLINE Register PickColour(Register first, Register second) {
  constexpr uint64_t kHighBytes = 0xAAAAAAAAAAAAAAAA;
  return _mm512_maskz_permutex2var_epi8(kHighBytes, first,
                                        Load(kColourIndex<kPixelBytes, kColour>.data()), second);
}

// The pairs' sums are those of the register's even pixels and its odd ones.
template <int kPixelBytes>
struct BgrReader {
  static constexpr size_t kMcuBytes = 16 * kPixelBytes;
  TKMJPG_LANES_INLINE static LinePair ReadPair(const uint8_t* first, const uint8_t* second) {
    constexpr uint64_t kBytes = kPixelBytes == 4 ? ~uint64_t{0} : (uint64_t{1} << 48) - 1;
    const Register a = _mm512_maskz_loadu_epi8(kBytes, first);
    const Register b = _mm512_maskz_loadu_epi8(kBytes, second);
    const Colours c = {PickColour<kPixelBytes, 0>(a, b), PickColour<kPixelBytes, 1>(a, b),
                       PickColour<kPixelBytes, 2>(a, b)};
    const Register cb = CbWords(c), cr = CrWords(c);
    const Register even = _mm512_shuffle_i64x2(cb, cr, 0x44);
    const Register odd = _mm512_shuffle_i64x2(cb, cr, 0xEE);
    const Register pairs = Add(Add(even, odd), Words(2 * kChromaOffset));
    return Gather<BgrOrder>(PackUnsigned(ShiftRight<8>(LumaWords(c)), ShiftRight<3>(pairs)));
  }
};

// --- Levels -------------------------------------------------------------------------------------

alignas(64) constexpr ByteIndex kZigZagIndex = kZigZag;

TKMJPG_LANES_INLINE void ZigZag(const Register packed[4], Register levels[4]) {
  constexpr uint64_t kAllAc = ~uint64_t{1};
  const Register index = Load(kZigZagIndex.data());
  GatherLanes(packed, levels);
  for (int l = 0; l < 4; ++l) levels[l] = _mm512_maskz_permutexvar_epi8(kAllAc, index, levels[l]);
}

// clang-format off
#include "encoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace avx512

void EncodeMcuRowAvx512(EncoderContext& context, const SourceRows& rows) {
  avx512::EncodeBand(context, rows);
}

}  // namespace tkmjpg
