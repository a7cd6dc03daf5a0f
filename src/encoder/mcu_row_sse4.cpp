// The fast rows for SSE4.
#include "cpu/lanes_sse4.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace sse4 {
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
}  // namespace sse4

void EncodeMcuRowSse4(EncoderContext& context, const SourceRows& rows) {
  sse4::EncodeBand(context, rows);
}

}  // namespace tkmjpg
