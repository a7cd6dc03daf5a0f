// The fast rows for NEON.
#include <arm_acle.h>

#include "cpu/lanes_neon.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace neon {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
// clang-format on

constexpr int LevelOfByte(int byte) { return byte < 128 ? byte : 128 - byte; }

// The levels of a block, the first one first: highest, since leading zeros are what is counted.
struct LevelScan {
  uint64_t rest;
  size_t last = 0;  // the position of the last one

  explicit LevelScan(uint64_t nonzero) : rest(__rbitll(nonzero) << 1) {}
  // Goes on to the next level and returns by how many positions, [1, 63].
  TKMJPG_LANES_INLINE size_t Step() {
    const auto step = static_cast<size_t>(std::countl_zero(rest)) + 1;
    rest <<= step;
    last += step;
    return step;
  }
};

// clang-format off
#include "encoder/coefficients_to_bits.inc"
// clang-format on

TKMJPG_LANES_INLINE Register ColourWords(uint8x8_t bytes) {
  return Signed(vshll_n_u8(bytes, kColourShift));
}

template <int kPixelBytes>
TKMJPG_LANES_INLINE Colours LoadPixels(const uint8_t* line) {
  if constexpr (kPixelBytes == 3) {
    const uint8x8x3_t p = vld3_u8(line);
    return {ColourWords(p.val[0]), ColourWords(p.val[1]), ColourWords(p.val[2])};
  } else {
    const uint8x8x4_t p = vld4_u8(line);
    return {ColourWords(p.val[0]), ColourWords(p.val[1]), ColourWords(p.val[2])};
  }
}

// clang-format off
#include "encoder/line_readers.inc"
// clang-format on

// Levels as bytes: a sign and a magnitude. What the product leaves is twice the magnitude, of which
// the instruction that inserts the sign drops the lowest bit.
constexpr int kLargestLevel = 255;

TKMJPG_LANES_INLINE Register PackLevels(const BlockRows& m, const QuantiserRows& rows,
                                        Register packed[4], int16_t* dc) {
  uint8x16_t largest[4];
  for (int i = 0; i < 4; ++i) {
    uint8x8_t magnitudes[2], signs[2];
    for (int j = 0; j < 2; ++j) {
      const int v = 2 * i + j;
      const Register offset = Load(rows[v].offset);
      const Register magnitude = vabaq_s16(Load(rows[v].correction), m.row[v], offset);
      const Register level = vqdmulhq_s16(magnitude, Load(rows[v].reciprocal));
      if (v == 0)
        *dc = static_cast<int16_t>(m.row[0][0] < kLevelShift ? -(level[0] >> 1) : level[0] >> 1);
      magnitudes[j] = vqmovun_s16(level);
      signs[j] = vreinterpret_u8_s8(vsubhn_s16(m.row[v], offset));
    }
    largest[i] = vcombine_u8(magnitudes[0], magnitudes[1]);
    packed[i] = Signed(vsriq_n_u8(vcombine_u8(signs[0], signs[1]), largest[i], 1));
  }
  largest[0] = vandq_u8(largest[0], vreinterpretq_u8_s8(vld1q_s8(kNotDc)));
  return Signed(vmaxq_u8(vmaxq_u8(largest[0], largest[1]), vmaxq_u8(largest[2], largest[3])));
}
TKMJPG_LANES_INLINE uint64_t NonZeroLevels(const Register block[4]) {
  uint8x16_t bits[4];
  for (int i = 0; i < 4; ++i) {
    bits[i] = vandq_u8(vtstq_u8(AsBytes(block[i]), vdupq_n_u8(0x7F)), vld1q_u8(kBitOfByte));
  }
  const uint8x16_t halves = vpaddq_u8(vpaddq_u8(bits[0], bits[1]), vpaddq_u8(bits[2], bits[3]));
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(halves, halves)), 0);
}

constexpr std::array<uint8_t, 64> MakeZigZagIndex() {
  std::array<uint8_t, 64> index = kZigZag;
  index[0] = 255;  // DC stays out
  return index;
}
alignas(64) constexpr std::array<uint8_t, 64> kZigZagIndex = MakeZigZagIndex();

TKMJPG_LANES_INLINE void ZigZag(const Register packed[4], Register levels[4]) {
  const uint8x16x4_t rows = {
      {AsBytes(packed[0]), AsBytes(packed[1]), AsBytes(packed[2]), AsBytes(packed[3])}};

  for (int q = 0; q < 4; ++q)
    levels[q] = Signed(vqtbl4q_u8(rows, vld1q_u8(kZigZagIndex.data() + 16 * q)));
}

// clang-format off
#include "encoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace neon

void EncodeMcuRowNeon(EncoderContext& context, const SourceRows& rows) {
  neon::EncodeBand(context, rows);
}

}  // namespace tkmjpg
