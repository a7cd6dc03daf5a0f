// The fast rows for NEON.
#include "cpu/lanes_neon.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace neon {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/coefficients_to_bits.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
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

constexpr std::array<uint8_t, 64> MakeZigZagIndex() {
  std::array<uint8_t, 64> index = kZigZag;
  index[0] = 255;  // DC stays out
  return index;
}
alignas(64) constexpr std::array<uint8_t, 64> kZigZagIndex = MakeZigZagIndex();
alignas(16) constexpr uint8_t kBitOfByte[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                1, 2, 4, 8, 16, 32, 64, 128};

TKMJPG_LANES_INLINE void StoreLevels(const Register packed[4], CodedBlock* block) {
  const uint8x16x4_t rows = {
      {AsBytes(packed[0]), AsBytes(packed[1]), AsBytes(packed[2]), AsBytes(packed[3])}};
  const uint8x16_t bits = vld1q_u8(kBitOfByte);
  uint8x16_t nonzero[4];
  for (int q = 0; q < 4; ++q) {
    const uint8x16_t levels = vqtbl4q_u8(rows, vld1q_u8(kZigZagIndex.data() + 16 * q));
    vst1q_u8(reinterpret_cast<uint8_t*>(block->levels.data()) + 16 * q, levels);
    nonzero[q] = vandq_u8(vtstq_u8(levels, levels), bits);
  }
  // Sums of neighbours, three times over: eight bytes become one of eight bits.
  const uint8x16_t halves = vpaddq_u8(vpaddq_u8(nonzero[0], nonzero[1]),  //
                                      vpaddq_u8(nonzero[2], nonzero[3]));
  const uint8x16_t mask = vpaddq_u8(halves, halves);
  block->nonzero = vgetq_lane_u64(vreinterpretq_u64_u8(mask), 0);
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
