// The encoder's hot steps, by rung. The plain ones are the definition; a faster rung replaces the
// steps that it has a variant of, with the same results to the last bit.
#pragma once

#include "cpu/cpu_rung.h"
#include "encoder/forward_dct.h"
#include "encoder/huffman_coder.h"
#include "encoder/input_conversion.h"

namespace tkmjpg {

struct EncoderKernels {
  InputConverter convert_rgb24;
  InputConverter convert_rgb32;
  InputConverter convert_rgb555;
  InputConverter convert_yuyv;
  InputConverter convert_uyvy;
  ForwardTransform forward_transform;
  McuRowEncoder encode_mcu_row;
};

// The table of a rung that can run here.
const EncoderKernels& EncoderKernelsOf(CpuRung rung);

#if TKMJPG_X86_64
void EncodeMcuRowAvx2(EncoderContext& context, const std::array<const uint8_t*, 8>& rows);
void ForwardTransformMcuAvx2(const uint8_t* samples,
                             const std::array<QuantiserTable, 2>& quantisers,
                             McuCoefficients& coefficients);
void EncodeMcuRowAvx512(EncoderContext& context, const std::array<const uint8_t*, 8>& rows);
void ForwardTransformMcuAvx512(const uint8_t* samples,
                               const std::array<QuantiserTable, 2>& quantisers,
                               McuCoefficients& coefficients);
#endif

}  // namespace tkmjpg
