// The fast rows for AVX2.
#include "cpu/lanes_avx2.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace avx2 {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/coefficients_to_bits.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
#include "encoder/shuffles.inc"
#include "encoder/line_readers.inc"
// clang-format on

TKMJPG_LANES_INLINE uint64_t NonZero(Register bytes) {
  return ~static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, Zero())));
}

TKMJPG_LANES_INLINE void StoreBlockLevels(Register low, Register high, CodedBlock& block) {
  Store(block.levels.data(), low);
  Store(block.levels.data() + 32, high);
  block.nonzero = NonZero(low) | NonZero(high) << 32;
}

TKMJPG_LANES_INLINE void StoreLevels(const Register packed[4], CodedBlock* blocks) {
  const Register q0 = ZigZagQuarter<0>(packed), q1 = ZigZagQuarter<1>(packed);
  const Register q2 = ZigZagQuarter<2>(packed), q3 = ZigZagQuarter<3>(packed);
  StoreBlockLevels(_mm256_permute2x128_si256(q0, q1, 0x20), _mm256_permute2x128_si256(q2, q3, 0x20),
                   blocks[0]);
  StoreBlockLevels(_mm256_permute2x128_si256(q0, q1, 0x31), _mm256_permute2x128_si256(q2, q3, 0x31),
                   blocks[1]);
}

// clang-format off
#include "encoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace avx2

void EncodeMcuRowAvx2(EncoderContext& context, const SourceRows& rows) {
  avx2::EncodeBand(context, rows);
}

}  // namespace tkmjpg
