// The fast rows in plain C++.
#include "cpu/lanes_plain.h"
#include "decoder/mcu_writer.h"

namespace tkmjpg {
namespace plain {
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
}  // namespace plain

FastRowDecoder SelectFastRowPlain(PixelFormatCode format) { return plain::SelectRow(format); }

}  // namespace tkmjpg
