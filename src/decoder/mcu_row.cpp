#include "decoder/mcu_row.h"

#include <cstring>

#include "decoder/inverse_dct.h"
#include "decoder/output_conversion.h"
#include "frame/layout.h"

namespace tkmjpg {
namespace {

// Goes over to the next interval: exactly the expected marker must have ended the last one.
bool PassRestart(DecoderContext& context, BitReader& reader) {
  reader.bit_accumulator = reader.bit_count = 0;
  reader.bit_read_pos = -1;
  return PassRestartMarker(context);
}

void DecodeMcu(DecoderContext& context, BitReader& reader, uint8_t* samples) {
  constexpr int kComponents[4] = {0, 0, 1, 2};
  for (int b = 0; b < 4; ++b) {
    int32_t& last_dc = context.last_dc[kComponents[b]];
    alignas(64) int16_t block[64] = {};
    RefillBits(reader, context.input);
    DecodeBlock(reader, block, last_dc, b < 2 ? kDcLumaLookup : kDcChromaLookup,
                b < 2 ? kAcLumaLookup : kAcChromaLookup);
    last_dc = block[0];
    InverseTransformBlock(samples + 64 * b, block, context.dequant[b < 2 ? 0 : 1].data());
  }
}

// Writes an MCU; of one that the picture's right edge cuts, the pixels that are left.
void WriteMcu(const DecoderContext& context, McuConverter converter, uint32_t column,
              const uint8_t* samples, const BandRows& band) {
  const int pixels = context.width - 16 * static_cast<int>(column);
  if (pixels <= 0 || converter == nullptr) return;
  const size_t pixel_bytes = BytesPerPixel(context.pixel_format);
  const size_t offset = 16 * pixel_bytes * column;
  if (pixels >= 16) return converter(band.rows.data(), offset, samples, band.count);
  CutMcu cut;
  converter(cut.rows.data(), 0, samples, band.count);
  cut.CopyTo(band.rows.data(), offset, static_cast<size_t>(pixels) * pixel_bytes, band.count);
}

}  // namespace

bool DecodeMcuRow(DecoderContext& context, BitReader& reader, const BandRows& band) {
  const McuConverter converter = SelectMcuConverter(context.pixel_format);
  alignas(64) uint8_t samples[kMcuBlockBytes];
  for (uint32_t column = 0; column < context.mcus_per_row; ++column) {
    if (context.restart_interval != 0 && context.restarts_to_go == 0 &&
        !PassRestart(context, reader)) {
      return false;
    }
    const bool cropped = 16 * static_cast<int>(column) >= context.width;
    if (!cropped || !OnlyOnesAhead(reader, context.input)) {
      DecodeMcu(context, reader, samples);
      WriteMcu(context, converter, column, samples, band);
    }
    --context.restarts_to_go;  // only read with an interval
  }
  context.rows_done += band.count;
  return true;
}

bool PassRestartMarker(DecoderContext& context) {
  if (context.input.pending_marker != kRst0 + context.restart_number) return false;
  context.input.pending_marker = 0;
  context.restart_number = (context.restart_number + 1) % 8;
  context.restarts_to_go = context.restart_interval;
  for (uint32_t c = 0; c < context.header.scan_components; ++c) context.last_dc[c] = 0;
  return true;
}

FastRowDecoder FastRowDecoderOf(CpuRung rung, PixelFormatCode format) {
  switch (rung) {
#if TKMJPG_X86
    case CpuRung::kSse4:
      return SelectFastRowSse4(format);
    case CpuRung::kAvx2:
      return SelectFastRowAvx2(format);
#endif
#if TKMJPG_X86_64
    case CpuRung::kAvx512:
      return SelectFastRowAvx512(format);
#endif
#if TKMJPG_NEON
    case CpuRung::kNeon:
      return SelectFastRowNeon(format);
#endif
    default:
      return SelectFastRowPlain(format);
  }
}

}  // namespace tkmjpg
