// The fast rows for SSE4.
#include "cpu/lanes_sse4.h"
#include "decoder/mcu_writer.h"

namespace tkmjpg {
namespace sse4 {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "decoder/bits_to_coefficients.inc"
#include "decoder/inverse_dct.inc"
#include "decoder/output_conversion.inc"
#include "decoder/pixel_stores.inc"
#include "decoder/line_writers.inc"
#include "decoder/select_writer.inc"
#include "decoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace sse4

FastRowDecoder SelectFastRowSse4(PixelFormatCode format) { return sse4::SelectRow(format); }

}  // namespace tkmjpg
