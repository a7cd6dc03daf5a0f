#include "encoder/forward_dct.h"

#include <algorithm>

#include "frame/stream_format.h"
#include "frame/transform_scale.h"

namespace tkmjpg {
namespace {

// The high half of a 16 x 16 bit product, rounded towards minus infinity.
int32_t MulHigh(int32_t a, int32_t constant) { return (a * constant) >> 16; }

// One eight-point pass in place, at p[0], p[stride], ... p[7 * stride]: five multiplications, and
// a gain of g(k) on output k. Within 16 bits throughout: no value, doublings included, goes beyond
// 22200 in magnitude for samples of [0, 255]. The doublings and quadruplings ahead of a
// multiplication keep the constants in 16 bits; the truncation falls behind them.
void ForwardPass(int32_t* p, int stride) {
  const int32_t s0 = p[0] + p[7 * stride], d0 = p[0] - p[7 * stride];
  const int32_t s1 = p[stride] + p[6 * stride], d1 = p[stride] - p[6 * stride];
  const int32_t s2 = p[2 * stride] + p[5 * stride], d2 = p[2 * stride] - p[5 * stride];
  const int32_t s3 = p[3 * stride] + p[4 * stride], d3 = p[3 * stride] - p[4 * stride];

  const int32_t e0 = s0 + s3, e1 = s1 + s2, e2 = s0 - s3, e3 = s1 - s2;
  const int32_t z = MulHigh(2 * (e3 + e2), 23170);  // cos(pi/4)
  p[0] = e0 + e1;
  p[4 * stride] = e0 - e1;
  p[2 * stride] = e2 + z;
  p[6 * stride] = e2 - z;

  const int32_t a = d3 + d2, b = d2 + d1, c = d1 + d0;
  const int32_t r = MulHigh(2 * b, 25080);   // 2 sin(pi/8)
  const int32_t q = MulHigh(4 * d0, 17734);  // 1 / cos(pi/8)
  const int32_t f = q + r, e = q - r;
  const int32_t k = c + MulHigh(a, 27146);  // tan(pi/8)
  const int32_t l = a - MulHigh(c, 27146);
  p[stride] = f + k;
  p[7 * stride] = f - k;
  p[5 * stride] = e + l;
  p[3 * stride] = e - l;
}

// |coefficient| x 2048 / (q x QuantScale) with the sign put back; halves round towards zero.
int16_t Quantise(int32_t coefficient, int32_t reciprocal, int32_t correction) {
  const int32_t magnitude = coefficient < 0 ? -coefficient : coefficient;  // below 2^14
  const int32_t level = MulHigh(magnitude + correction, reciprocal);       // [0, 2047]
  return static_cast<int16_t>(coefficient < 0 ? -level : level);
}

}  // namespace

void ForwardTransformMcu(const uint8_t* samples, const std::array<QuantiserTable, 2>& quantisers,
                         McuCoefficients& coefficients) {
  for (int lane = 0; lane < 4; ++lane) {
    int32_t block[64];
    for (int i = 0; i < 64; ++i) block[i] = samples[4 * i + lane];
    // Rows first: the multiplications truncate, so that the other order gives other numbers.
    for (int row = 0; row < 8; ++row) ForwardPass(block + 8 * row, 1);
    for (int column = 0; column < 8; ++column) ForwardPass(block + column, 8);
    block[0] -= kLevelShift;

    const QuantiserTable& quantiser = quantisers[lane / 2];
    for (int k = 0; k < 64; ++k) {
      const int n = kZigZag[k];
      coefficients.blocks[lane][k] =
          Quantise(block[n] + kTransformBias[n], quantiser.quant_reciprocal[n],
                   quantiser.quant_correction[n]);
    }
  }
}

void BuildQuantiser(const EncoderQuantTable& table, QuantiserTable& quantiser) {
  for (int n = 0; n < 64; ++n) {
    const int32_t m = table.values[n] * kQuantScale[n];  // [4161, 9416895]
    quantiser.quant_reciprocal[n] = static_cast<uint16_t>((m / 2 + (1 << 27)) / m);
    // Half a quantisation step in the units of the transform's output, m / 4096, less one.
    quantiser.quant_correction[n] = static_cast<uint16_t>(std::max(((2 * m + 4095) >> 13) - 1, 0));
  }
}

}  // namespace tkmjpg
