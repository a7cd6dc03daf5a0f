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

TKMJPG_LANES_INLINE void ZigZag(const Register packed[4], Register levels[4]) {
  const uint8x16x4_t rows = {
      {AsBytes(packed[0]), AsBytes(packed[1]), AsBytes(packed[2]), AsBytes(packed[3])}};
  for (int q = 0; q < 4; ++q) {
    levels[q] = Signed(vqtbl4q_u8(rows, vld1q_u8(kZigZagIndex.data() + 16 * q)));
  }
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
