// What the two halves of the AVX2 row encoder pass on: some MCUs as blocks of quantised
// coefficients.
#pragma once

#include <array>
#include <cstdint>

#include "encoder/encoder_context.h"
#include "encoder/symbol_coder.h"

namespace tkmjpg {

// A block on its way from the transform to the bits.
struct CodedBlock {
  alignas(64) std::array<int8_t, 64> levels;  // AC in zig-zag order; 0 in place of DC
  uint64_t nonzero;                           // positions of AC that are not 0
  int32_t dc;
  bool limited;  // some AC does not fit its byte: all are in the chunk's words
};

struct McuChunk {
  std::array<CodedBlock, 4 * kChunkMcus> blocks;
  // Natural order, row v of the blocks i and i + 1 (i even) at 16 v of words[i / 2]. Of limited
  // blocks only.
  alignas(64) std::array<std::array<int16_t, 128>, 2 * kChunkMcus> words;
};

// Fills the chunk with the `count` MCUs of a band from `column` on.
using ChunkFiller = void (*)(const EncoderContext& context,
                             const std::array<const uint8_t*, 8>& rows, uint32_t column,
                             uint32_t count, McuChunk& chunk);

// Null for a layout that has none.
ChunkFiller SelectChunkFillerAvx2(PixelFormatCode format);

}  // namespace tkmjpg
