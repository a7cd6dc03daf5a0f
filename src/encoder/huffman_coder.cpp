#include "encoder/huffman_coder.h"

#include <bit>
#include <cstdlib>

#include "encoder/encoder_kernels.h"
#include "encoder/entropy_output.h"
#include "encoder/forward_dct.h"
#include "encoder/input_conversion.h"

namespace tkmjpg {
namespace {

constexpr uint32_t kEndOfBlock = 0x00, kSixteenZeros = 0xF0;

uint32_t SizeOf(int32_t value) {
  return static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(std::abs(value))));
}

void PutCode(EntropyOutput& output, uint32_t entry) { PutBits(output, entry >> 8, entry & 0xFF); }

// The amplitude bits of F.1.2.1: negative values as one's complement.
void PutAmplitude(EntropyOutput& output, int32_t value, uint32_t size) {
  PutBits(output, static_cast<uint32_t>(value < 0 ? value - 1 : value), size);
}

// Codes the four blocks of an MCU: left luma, right luma, Cb, Cr.
void EncodeMcuBlocks(EncoderContext& context, const McuCoefficients& mcu) {
  // Cr comes ahead of Cb in the bytes of VYUY, and in the lanes made of them.
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

void ConvertMcu(const EncoderContext& context, InputConverter converter, uint32_t column,
                const uint8_t* rows[8], uint8_t* samples) {
  const int pixels = context.width - 16 * static_cast<int>(column);
  if (pixels >= 16) return converter(rows, samples);
  uint8_t padded[8][64];
  const uint8_t* padded_rows[8];
  for (int r = 0; r < 8; ++r) {
    PadLine(rows[r], pixels, context.pixel_format, padded[r]);
    padded_rows[r] = padded[r];
  }
  converter(padded_rows, samples);
}

}  // namespace

void EncodeBlock(EntropyOutput& output, const int16_t* block, int32_t dc_prediction,
                 const HuffmanCodeTable& dc_codes, const HuffmanCodeTable& ac_codes) {
  const int32_t difference = block[0] - dc_prediction;  // [-2040, 2040]
  const uint32_t dc_size = SizeOf(difference);
  PutCode(output, dc_codes[dc_size]);
  PutAmplitude(output, difference, dc_size);

  uint32_t run = 0;
  for (int k = 1; k < 64; ++k) {
    if (block[k] == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) PutCode(output, ac_codes[kSixteenZeros]);
    const uint32_t size = SizeOf(block[k]);
    PutCode(output, ac_codes[run << 4 | size]);
    PutAmplitude(output, block[k], size);
    run = 0;
  }
  if (run != 0) PutCode(output, ac_codes[kEndOfBlock]);
}

void EncodeMcuRow(EncoderContext& context, const std::array<const uint8_t*, 8>& rows) {
  const EncoderKernels& kernels = *context.kernels;
  const InputConverter converter = SelectInputConverter(kernels, context.pixel_format);
  std::array<const uint8_t*, 8> cursors = rows;
  alignas(64) uint8_t samples[kMcuSampleBytes];
  McuCoefficients coefficients;
  for (uint32_t column = 0; column < context.mcus_per_row; ++column) {
    if (context.restart_interval != 0 && context.restarts_to_go == 0) WriteRestart(context);
    ConvertMcu(context, converter, column, cursors.data(), samples);
    kernels.forward_transform(samples, context.quantisers, coefficients);
    EncodeMcuBlocks(context, coefficients);
    --context.restarts_to_go;  // only read with an interval
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
