// A band of eight lines: MCU by MCU from pixels to bits.
#pragma once

#include <array>
#include <cstdint>

#include "cpu/cpu_rung.h"
#include "encoder/encoder_context.h"

namespace tkmjpg {

// The first pixel of each line of a band.
using SourceRows = std::array<const uint8_t*, 8>;

using McuRowEncoder = void (*)(EncoderContext& context, const SourceRows& rows);

// The definition: converts, transforms and codes MCU by MCU, with restart markers where the
// interval calls for them.
void EncodeMcuRow(EncoderContext& context, const SourceRows& rows);

// The fastest one of a rung; all give the same bytes.
McuRowEncoder McuRowEncoderOf(CpuRung rung);

// Ends an interval: completes the byte, writes RSTn and clears the predictors and counters.
void WriteRestart(EncoderContext& context);

// One text (mcu_row.inc), compiled for each instruction set and for plain C++.
void EncodeMcuRowPlain(EncoderContext& context, const SourceRows& rows);
#if TKMJPG_X86
void EncodeMcuRowSse4(EncoderContext& context, const SourceRows& rows);
void EncodeMcuRowAvx2(EncoderContext& context, const SourceRows& rows);
#endif
#if TKMJPG_X86_64
void EncodeMcuRowAvx512(EncoderContext& context, const SourceRows& rows);
#endif
#if TKMJPG_NEON
void EncodeMcuRowNeon(EncoderContext& context, const SourceRows& rows);
#endif

}  // namespace tkmjpg
