// From coefficients to bytes, for the AVX-512 row encoder.
#pragma once

#include "encoder/encoder_context.h"
#include "encoder/symbol_coder.h"

namespace tkmjpg {

// The coefficients of some MCUs. Transforming them all ahead of making symbols lets the processor
// work on several at once in either step.
struct ChunkLevels {
  alignas(64) int8_t levels[kChunkMcus][4][64];  // zig-zag order, DC 0, limited to bytes
  int16_t dc[kChunkMcus][4];
  bool limited[kChunkMcus];                       // some byte may not be the whole coefficient:
  alignas(64) int16_t exact[kChunkMcus][8 * 32];  // then here, by row, block and column
};

// The symbols of `mcus` MCUs, each left luma, right luma, Cb, Cr. Returns how many there are.
int AppendChunkAvx512(const ChunkLevels& chunk, int mcus, std::array<int32_t, 3>& last_dc,
                      Symbols& symbols);

// `count` symbols to bits. One store of eight bytes for four symbols, or for two
// when four are too long; only whole bytes count.
void PackSymbolsAvx512(Symbols& symbols, int count, RawBits& raw);

// Appends the raw bytes to the output, with a 0 behind each 0xFF, and empties them.
void AppendStuffedAvx512(EntropyOutput& output, RawBits& raw);

}  // namespace tkmjpg
