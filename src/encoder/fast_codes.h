// The Huffman codes as the fast rows want them.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "encoder/coded_blocks.h"
#include "encoder/coefficients_to_bits.h"

namespace tkmjpg {

// Bits to append, and how many.
class CodeEntry {
 public:
  constexpr CodeEntry() = default;
  constexpr CodeEntry(uint32_t bits, uint32_t length) : word_(bits << 6 | length) {}
  constexpr uint32_t Bits() const { return word_ >> 6; }  // at most 26
  constexpr uint32_t Length() const { return word_ & 63; }

 private:
  uint32_t word_ = 0;
};

// By run << 4 | size: the code and zeros for an amplitude. Size 0 is EOB with run 0, ZRL with run
// 15.
using SizeTable = std::array<CodeEntry, 256>;

constexpr SizeTable MakeSizeTable(const HuffmanCodeTable& codes) {
  SizeTable table{};
  for (uint32_t i = 0; i < 256; ++i) {
    const uint32_t size = i & 15;
    if (codes[i] != 0) table[i] = CodeEntry(codes[i] >> 8 << size, (codes[i] & 0xFF) + size);
  }
  return table;
}

// By run << 8 | level as a byte, [-127, 127]: code and amplitude.
using LevelTable = std::array<CodeEntry, 16 * 256>;

constexpr LevelTable MakeLevelTable(const HuffmanCodeTable& codes) {
  LevelTable table{};
  for (uint32_t run = 0; run < 16; ++run) {
    for (int value = -127; value < 128; ++value) {
      const auto size =
          static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(value < 0 ? -value : value)));
      const uint32_t amplitude =
          static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1U << size) - 1);
      const uint32_t code = codes[run << 4 | size] >> 8, length = codes[run << 4 | size] & 0xFF;
      table[run << 8 | static_cast<uint8_t>(value)] =
          CodeEntry(code << size | amplitude, length + size);
    }
  }
  return table;
}

// The first byte in memory becomes the highest.
inline __attribute__((always_inline)) uint64_t SwapBytes(uint64_t word) {
  return __builtin_bswap64(word);
}
inline __attribute__((always_inline)) uint32_t SwapBytes(uint32_t word) {
  return __builtin_bswap32(word);
}

// Of AC and of DC: luma, chroma.
alignas(64) inline constexpr SizeTable kSizeCodes[4] = {
    MakeSizeTable(kAcLumaCodes), MakeSizeTable(kAcChromaCodes),  //
    MakeSizeTable(kDcLumaCodes), MakeSizeTable(kDcChromaCodes)};
constexpr const SizeTable& AcCodes(uint32_t chroma) { return kSizeCodes[chroma]; }
constexpr const SizeTable& DcCodes(uint32_t chroma) { return kSizeCodes[2 + chroma]; }
alignas(64) inline constexpr LevelTable kLevelCodes[2] = {MakeLevelTable(kAcLumaCodes),
                                                          MakeLevelTable(kAcChromaCodes)};

}  // namespace tkmjpg
