// The fast rows for AVX2.
#include "cpu/lanes_avx2.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace avx2 {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
#include "encoder/packed_levels.inc"
#include "encoder/coefficients_to_bits.inc"
#include "encoder/shuffles.inc"
#include "encoder/line_readers.inc"
#include "encoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace avx2

void EncodeMcuRowAvx2(EncoderContext& context, const SourceRows& rows) {
  avx2::EncodeBand(context, rows);
}

}  // namespace tkmjpg
