// The fast rows in plain C++.
#include "cpu/lanes_plain.h"
#include "encoder/fast_row_headers.h"

namespace tkmjpg {
namespace plain {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "encoder/forward_dct.inc"
#include "encoder/input_conversion.inc"
#include "encoder/packed_levels.inc"
#include "encoder/coefficients_to_bits.inc"
// clang-format on

template <int kPixelBytes>
TKMJPG_LANES_INLINE Register PickColour(const uint8_t* line) {
  Register colour;
  for (int x = 0; x < 8; ++x) colour[x] = static_cast<int16_t>(line[kPixelBytes * x]);
  return ShiftLeft<kColourShift>(colour);
}

template <int kPixelBytes>
TKMJPG_LANES_INLINE Colours LoadPixels(const uint8_t* line) {
  return {PickColour<kPixelBytes>(line), PickColour<kPixelBytes>(line + 1),
          PickColour<kPixelBytes>(line + 2)};
}

TKMJPG_LANES_INLINE void ZigZag(const Register packed[4], Register levels[4]) {
  alignas(16) uint8_t natural[64], ordered[64];
  for (int i = 0; i < 4; ++i) Store(natural + 16 * i, packed[i]);
  natural[0] = 0;  // DC stays out
  for (int k = 0; k < 64; ++k) ordered[k] = natural[kZigZag[k]];
  for (int i = 0; i < 4; ++i) levels[i] = Load(ordered + 16 * i);
}

// clang-format off
#include "encoder/line_readers.inc"
#include "encoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace plain

void EncodeMcuRowPlain(EncoderContext& context, const SourceRows& rows) {
  plain::EncodeBand(context, rows);
}

}  // namespace tkmjpg
