#include "encoder/mcu_row.h"

#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "encoder/forward_dct.h"
#include "encoder/input_conversion.h"

namespace tkmjpg {
namespace {

// Codes the four blocks of an MCU: left luma, right luma, Cb, Cr.
void EncodeMcuBlocks(EncoderContext& context, const McuCoefficients& mcu) {
  // Cr comes before Cb in the bytes of VYUY, and in the lanes made of them.
  const int cb_lane = context.pixel_format == PixelFormatCode::kVyuy ? 3 : 2;
  const int lanes[4] = {0, 1, cb_lane, 5 - cb_lane};
  constexpr int kComponents[4] = {0, 0, 1, 2};
  for (int b = 0; b < 4; ++b) {
    const int16_t* block = mcu.blocks[lanes[b]].data();
    int32_t& last_dc = context.last_dc[kComponents[b]];
    EncodeBlock(context.output, block, last_dc, b < 2 ? kDcLumaCodes : kDcChromaCodes,
                b < 2 ? kAcLumaCodes : kAcChromaCodes);
    last_dc = block[0];
  }
}

}  // namespace

void EncodeMcuRow(EncoderContext& context, const SourceRows& rows) {
  const InputConverter converter = SelectInputConverter(context.pixel_format);
  const size_t mcu_bytes = size_t{16} * BytesPerPixel(context.pixel_format);
  alignas(64) uint8_t samples[kMcuSampleBytes];
  McuCoefficients coefficients;
  for (uint32_t column = 0; column < context.mcus_per_row; ++column) {
    if (context.restart_interval != 0 && context.restarts_to_go == 0) WriteRestart(context);
    const int pixels = context.width - 16 * static_cast<int>(column);
    if (pixels >= 16) {
      converter(rows.data(), column * mcu_bytes, samples);
    } else {
      const PaddedMcu padded(rows, column * mcu_bytes, pixels, context.pixel_format);
      converter(padded.rows.data(), 0, samples);
    }
    ForwardTransformMcu(samples, context.quantisers, coefficients);
    EncodeMcuBlocks(context, coefficients);
    --context.restarts_to_go;  // only read with an interval
  }
}

McuRowEncoder McuRowEncoderOf(CpuRung rung) {
  switch (rung) {
#if TKMJPG_X86
    case CpuRung::kSse4:
      return EncodeMcuRowSse4;
    case CpuRung::kAvx2:
      return EncodeMcuRowAvx2;
#endif
#if TKMJPG_X86_64
    case CpuRung::kAvx512:
      return EncodeMcuRowAvx512;
#endif
#if TKMJPG_NEON
    case CpuRung::kNeon:
      return EncodeMcuRowNeon;
#endif
    default:
      return EncodeMcuRowPlain;
  }
}

void WriteRestart(EncoderContext& context) {
  FlushBits(context.output);
  PutByte(context.output, 0xFF);
  PutByte(context.output, kRst0 + context.restart_number);
  context.restart_number = (context.restart_number + 1) % 8;
  context.restarts_to_go = context.restart_interval;
  context.last_dc = {};
}

}  // namespace tkmjpg
