// The fast rows for AVX2.
#include "cpu/lanes_avx2.h"
#include "decoder/mcu_writer.h"

namespace tkmjpg {
namespace avx2 {
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
}  // namespace avx2

FastRowDecoder SelectFastRowAvx2(PixelFormatCode format) { return avx2::SelectRow(format); }

}  // namespace tkmjpg
