// The decoder's hot steps, by rung. The plain ones are the definition; a faster rung replaces the
// steps that it has a variant of, with the same results to the last bit.
#pragma once

#include "cpu/cpu_rung.h"
#include "decoder/fast_decoder.h"
#include "decoder/inverse_dct.h"
#include "decoder/output_conversion.h"

namespace tkmjpg {

struct DecoderKernels {
  InverseTransform inverse_transform;
  McuConverter convert_yuyv, convert_yuyv_full;
  McuConverter convert_uyvy, convert_uyvy_full;
  McuConverter convert_bgr24, convert_bgr24_full;
  McuConverter convert_bgrx32, convert_bgrx32_full;
  McuConverter convert_bgra32, convert_bgra32_full;
  McuConverter convert_rgb555, convert_rgb565;
  ByteStager stage_bytes;
  // For whole MCUs of sound images, in place of the steps above. Null on the plain rung; gives none
  // for a layout that is not written.
  McuWriter (*select_writer)(PixelFormatCode format);
};

// The table of a rung that can run here.
const DecoderKernels& DecoderKernelsOf(CpuRung rung);

#if TKMJPG_X86_64
McuWriter SelectWriterAvx2(PixelFormatCode format);
int StageBytesAvx2(EntropyInput& input, uint8_t* write, int room);
McuWriter SelectWriterAvx512(PixelFormatCode format);
int StageBytesAvx512(EntropyInput& input, uint8_t* write, int room);
#endif

}  // namespace tkmjpg
