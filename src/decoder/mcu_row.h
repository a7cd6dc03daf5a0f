// A band of eight lines: MCU by MCU from bits to pixels.
#pragma once

#include <array>
#include <cstdint>

#include "cpu/cpu_rung.h"
#include "decoder/bits_to_coefficients.h"
#include "decoder/decoder_context.h"
#include "decoder/fast_reader.h"

namespace tkmjpg {

// Where a band goes: the first pixels of `count` (1 to 8) lines.
struct BandRows {
  std::array<uint8_t*, 8> rows{};
  int count = 0;
};

// The definition: decodes one band. False when a restart marker is missing or wrong; the MCUs
// before it are written.
bool DecodeMcuRow(DecoderContext& context, BitReader& reader, const BandRows& band);

// The same for undamaged images; false for others: then the image is to be decoded again by the
// definition, so that damage looks the same everywhere. One text (mcu_row.inc), compiled for each
// instruction set and for plain C++.
using FastRowDecoder = bool (*)(DecoderContext& context, FastReader& reader, const BandRows& band);

// Of a rung and a layout; null for a layout that is not decoded.
FastRowDecoder FastRowDecoderOf(CpuRung rung, PixelFormatCode format);

FastRowDecoder SelectFastRowPlain(PixelFormatCode format);
#if TKMJPG_X86
FastRowDecoder SelectFastRowSse4(PixelFormatCode format);
FastRowDecoder SelectFastRowAvx2(PixelFormatCode format);
#endif
#if TKMJPG_X86_64
FastRowDecoder SelectFastRowAvx512(PixelFormatCode format);
#endif
#if TKMJPG_NEON
FastRowDecoder SelectFastRowNeon(PixelFormatCode format);
#endif

}  // namespace tkmjpg
