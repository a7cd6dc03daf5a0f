// Dequantisation and inverse DCT: one block of coefficients to 64 samples.
#pragma once

#include <cstdint>

namespace tkmjpg {

// Writes 64 bytes in raster order. `block` and `dequant` (16 x the quantisation values) are 64
// words in transposed natural order, 8 x horizontal + vertical frequency.
using InverseTransform = void (*)(uint8_t* output, const int16_t* block, const uint16_t* dequant);

// The definition. A fast approximation of ITU T.81 A.3.3 in 16-bit arithmetic that wraps: other
// transforms, an exact one too, give other samples. Any input gives samples in [0, 255].
void InverseTransformBlock(uint8_t* output, const int16_t* block, const uint16_t* dequant);

}  // namespace tkmjpg
