// What the fast row encoders share: symbols on their way from blocks to bytes.
//
// A block becomes a list of symbols: its DC difference, each non-zero AC coefficient, a zero value
// after every 16 zeros inside the block (ZRL) and a zero value behind the last coefficient (EOB).
// With these the run ahead of a symbol is the distance to the one before it, and run 0 with size 0
// is the code of EOB, run 15 with size 0 that of ZRL: no symbol is a special case. A symbol's code
// and amplitude then come out of one table entry, in any number of lanes at once.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "encoder/huffman_coder.h"

namespace tkmjpg {

inline constexpr int kChunkMcus = 8;
inline constexpr int kSlack = 64;  // behind each array: whole registers are stored and loaded
inline constexpr int kChunkSymbols = kChunkMcus * 4 * 65;
inline constexpr uint32_t kChromaPosition = 64;  // added to the positions of chroma blocks

struct Symbols {
  alignas(64) std::array<int16_t, kChunkSymbols + kSlack> values;
  // One entry ahead of the first, so that each symbol has a predecessor.
  alignas(64) std::array<uint8_t, 64 + kChunkSymbols + kSlack> position_store;
  uint8_t* positions() { return position_store.data() + 64; }
};

// Where ZRL and EOB belong in a block whose non-zero positions, and bit 0, are set in `mask`.
inline uint64_t WithZeroSymbols(uint64_t mask, int last) {
  // Bit p of `near` is clear when p and the 15 positions behind it are all zero.
  uint64_t near = mask | mask >> 1;
  near |= near >> 2;
  near |= near >> 4;
  near |= near >> 8;
  if ((~near & ((uint64_t{1} << last) - 1)) != 0) [[unlikely]] {
    int previous = 0;
    for (int k = 1; k <= last; ++k) {
      if (k - previous == 16 || (mask >> k & 1) != 0) {
        mask |= uint64_t{1} << k;
        previous = k;
      }
    }
  }
  return mask | (uint64_t{1} << last) << 1;  // nothing behind position 63
}

// (code and room for the amplitude bits) << 6 | bits in all, by run << 4 | size for AC, 512 | size
// for DC, and 256 more for chroma.
inline constexpr uint32_t kChromaEntries = 256, kDcEntries = 512;

constexpr void AddEntries(std::array<uint32_t, 1024>& table, uint32_t first,
                          const HuffmanCodeTable& codes) {
  for (uint32_t i = 0; i < 256; ++i) {
    const uint32_t code = codes[i] >> 8, length = codes[i] & 0xFF, size = i & 15;
    if (length != 0) table[first + i] = (code << size) << 6 | (length + size);
  }
}

constexpr std::array<uint32_t, 1024> MakeSymbolTable() {
  std::array<uint32_t, 1024> table{};
  AddEntries(table, 0, kAcLumaCodes);
  AddEntries(table, kChromaEntries, kAcChromaCodes);
  AddEntries(table, kDcEntries, kDcLumaCodes);
  AddEntries(table, kDcEntries + kChromaEntries, kDcChromaCodes);
  return table;
}
alignas(64) inline constexpr std::array<uint32_t, 1024> kSymbolTable = MakeSymbolTable();

// Bits on their way into bytes that are not stuffed yet.
struct RawBits {
  // A block has at most 1660 bits; each step stores eight bytes.
  static constexpr int kCapacity = kChunkMcus * 4 * 208 + 64;
  alignas(64) std::array<uint8_t, kCapacity> bytes;
  uint8_t* write = nullptr;
  uint64_t accumulator = 0;  // the pending bits are its low `count` bits
  uint64_t count = 0;        // [0, 7] between steps
};

}  // namespace tkmjpg
