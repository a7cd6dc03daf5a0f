// Forward DCT and quantiser: the samples of one MCU to quantised coefficients in zig-zag order.
#pragma once

#include <array>
#include <cstdint>

#include "encoder/encoder_context.h"

namespace tkmjpg {

// Quantised coefficients of the four blocks of an MCU, lane by lane as in McuSamples, each in
// zig-zag order. DC [-1024, 1016], AC [-2047, 2047]. DC values are no differences yet.
struct McuCoefficients {
  alignas(64) std::array<std::array<int16_t, 64>, 4> blocks;
};

// The level shift: 128 x 64, the DC of a block of 128s.
inline constexpr int kLevelShift = 8192;

// The definition. A fast approximation of the DCT of ITU T.81 A.3.3 in 16-bit arithmetic: other
// transforms, an exact one too, give other numbers. Lanes 0 and 1 are quantised with quantisers[0],
// lanes 2 and 3 with quantisers[1].
void ForwardTransformMcu(const uint8_t* samples, const std::array<QuantiserTable, 2>& quantisers,
                         McuCoefficients& coefficients);

// The reciprocals and rounding corrections for a quantisation table.
void BuildQuantiser(const EncoderQuantTable& table, QuantiserTable& quantiser);

// TransformBias, natural order: makes up on average for the truncated multiplications.
inline constexpr std::array<int8_t, 64> kTransformBias = {0, 12, 5, 4, 0, -4, -3, 4,  //
                                                          0, 2,  2, 2, 2, 2,  2,  2,  //
                                                          0, 0,  0, 0, 0, 0,  1,  0,  //
                                                          1, 1,  0, 2, 0, 0,  1,  0,  //
                                                          0, 1,  0, 0, 0, 0,  0,  0,  //
                                                          0, 0,  0, 0, 0, 0,  0,  0,  //
                                                          0, 0,  0, 0, 0, 0,  0,  0,  //
                                                          0, 1,  0, 0, 0, 0,  1,  1};

}  // namespace tkmjpg
