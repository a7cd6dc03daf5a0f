// The fast rows in plain C++: the fast reader of bits before the definition's transform and
// conversion.
#include "cpu/targets.h"
#include "decoder/inverse_dct.h"
#include "decoder/mcu_writer.h"

#define TKMJPG_LANES_TARGET
#define TKMJPG_LANES_INLINE TKMJPG_ALWAYS_INLINE

namespace tkmjpg {
namespace plain {
namespace {

#include "decoder/bits_to_coefficients.inc"

void Write(const McuJob& job) {
  for (int b = 0; b < 4; ++b) {
    alignas(64) int16_t block[64];
    QuantValues dequant;
    for (int n = 0; n < 64; ++n) {
      const int at = 32 * (n / 8) + 8 * b + n % 8;
      block[n] = job.coefficients[at];
      dequant[n] = job.dequant[at];
    }
    InverseTransformBlock(job.samples + 64 * b, block, dequant.data());
  }
  std::memset(job.coefficients, 0, kMcuWords * sizeof(int16_t));
  job.convert(job.rows, job.offset, job.samples, job.row_count);
}

inline constexpr bool kUsesEnds = false;

McuWriter SelectWriter(const PixelLayout& /*layout*/) { return {Write}; }

#include "decoder/mcu_row.inc"

}  // namespace
}  // namespace plain

FastRowDecoder SelectFastRowPlain(PixelFormatCode format) { return plain::SelectRow(format); }

}  // namespace tkmjpg
