// The fast rows for SSE4.
#include "cpu/lanes_sse4.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace sse4 {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/coefficients_to_bits.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
#include "encoder/shuffles.inc"
#include "encoder/line_readers.inc"
// clang-format on

TKMJPG_LANES_INLINE void StoreLevels(const Register packed[4], CodedBlock* block) {
  const Register quarters[4] = {ZigZagQuarter<0>(packed), ZigZagQuarter<1>(packed),
                                ZigZagQuarter<2>(packed), ZigZagQuarter<3>(packed)};
  uint64_t zero = 0;
  for (int q = 0; q < 4; ++q) {
    Store(block->levels.data() + 16 * q, quarters[q]);
    const int zeros = _mm_movemask_epi8(_mm_cmpeq_epi8(quarters[q], Zero()));
    zero |= static_cast<uint64_t>(static_cast<uint32_t>(zeros)) << (16 * q);
  }
  block->nonzero = ~zero;
}

// clang-format off
#include "encoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace sse4

void EncodeMcuRowSse4(EncoderContext& context, const SourceRows& rows) {
  sse4::EncodeBand(context, rows);
}

}  // namespace tkmjpg
