// Entropy coding: baseline Huffman codes (ITU T.81 F.1.2) with the fixed tables of Annex K.
#pragma once

#include <array>
#include <cstdint>

#include "encoder/encoder_context.h"
#include "frame/stream_format.h"

namespace tkmjpg {

// HuffmanCodeTable: (code << 8) | length, by size (DC) or (run << 4) | size (AC); 0 where Annex K
// defines no code.
using HuffmanCodeTable = std::array<uint32_t, 256>;

template <int N>
constexpr HuffmanCodeTable MakeCodeTable(const HuffmanSpec<N>& huffman) {
  HuffmanCodeTable table{};
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t value) {
    table[value] = code << 8 | length;
  });
  return table;
}

inline constexpr HuffmanCodeTable kDcLumaCodes = MakeCodeTable(kDcLumaSpec);
inline constexpr HuffmanCodeTable kDcChromaCodes = MakeCodeTable(kDcChromaSpec);
inline constexpr HuffmanCodeTable kAcLumaCodes = MakeCodeTable(kAcLumaSpec);
inline constexpr HuffmanCodeTable kAcChromaCodes = MakeCodeTable(kAcChromaSpec);

// Codes one block of 64 coefficients in zig-zag order after what `output` holds. dc_prediction is
// the component's previous DC value; keeping it is the caller's work.
void EncodeBlock(EntropyOutput& output, const int16_t* block, int32_t dc_prediction,
                 const HuffmanCodeTable& dc_codes, const HuffmanCodeTable& ac_codes);

}  // namespace tkmjpg
