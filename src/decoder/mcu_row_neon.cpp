// The fast rows for NEON.
#include "cpu/lanes_neon.h"
#include "decoder/mcu_writer.h"

namespace tkmjpg {
namespace neon {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "decoder/bits_to_coefficients.inc"
#include "decoder/inverse_dct.inc"
#include "decoder/output_conversion.inc"
// clang-format on

struct ColourPair {
  Register first, second;
};
// Cb and Cr; luma of the even and the odd pixels.
TKMJPG_LANES_INLINE ColourPair ChromaColours(Register bytes) {
  return {UnpackLow8(bytes, Zero()), UnpackHigh8(bytes, Zero())};
}
TKMJPG_LANES_INLINE ColourPair LumaColours(Register bytes) {
  return {And(bytes, Words(0xFF)), ShiftRight<8>(bytes)};
}

// Stores the registers, one after the other, as a line.
template <int kRegisters>
TKMJPG_LANES_INLINE void StoreLines(const Register* pixels, const McuJob& job, int line) {
  if (line >= job.row_count) return;
  for (int i = 0; i < kRegisters; ++i) Store(job.rows[line] + job.offset + 16 * i, pixels[i]);
}

// Eight even pixels and eight odd ones to a line of 16.
template <int kPixelBytes, int kLastByte>
TKMJPG_LANES_INLINE void StoreBgr(const Colours& c, const McuJob& job, int line) {
  const auto in_order = [](Register x) { return AsBytes(InterleaveHalves(x)); };
  uint8_t* const to = job.rows[line] + job.offset;
  if constexpr (kPixelBytes == 3) {
    vst3q_u8(to, {{in_order(c.b), in_order(c.g), in_order(c.r)}});
  } else {
    vst4q_u8(to, {{in_order(c.b), in_order(c.g), in_order(c.r), vdupq_n_u8(kLastByte)}});
  }
}

// clang-format off
#include "decoder/line_writers.inc"
#include "decoder/select_writer.inc"
#include "decoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace neon

FastRowDecoder SelectFastRowNeon(PixelFormatCode format) { return neon::SelectRow(format); }

}  // namespace tkmjpg
