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
  constexpr size_t Bits() const { return size_t{word_} >> 6; }  // at most 26
  constexpr uint32_t Length() const { return word_ & 63; }
  constexpr uint32_t LengthModulo64() const { return word_; }

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

// The code of a value that follows `run` zeros, its amplitude included.
constexpr CodeEntry CodeOf(const HuffmanCodeTable& codes, uint32_t run, int value) {
  const auto size =
      static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(value < 0 ? -value : value)));
  const uint32_t amplitude =
      static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1U << size) - 1);
  const uint32_t code = codes[run << 4 | size];
  return {code >> 8 << size | amplitude, (code & 0xFF) + size};
}

// By step << 8 | level as a byte, [-127, 127], the step being from the last level's position. Level
// 0 is EOB with step 0, ZRL with step 16.
using LevelTable = std::array<CodeEntry, 17 * 256>;

template <typename LevelOfByte>
constexpr LevelTable MakeLevelTable(const HuffmanCodeTable& codes, LevelOfByte level) {
  LevelTable table{};
  table[0] = CodeOf(codes, 0, 0);
  for (uint32_t step = 1; step <= 16; ++step) {
    for (uint32_t byte = 0; byte < 256; ++byte) {
      const int value = level(static_cast<int>(byte));
      if (value > -128) table[step << 8 | byte] = CodeOf(codes, step - 1, value);
    }
  }
  return table;
}

// Of DC differences, by what they are above -kDcMiddle.
inline constexpr int kDcMiddle = 2048;
using DcTable = std::array<CodeEntry, 2 * kDcMiddle>;

constexpr DcTable MakeDcTable(const HuffmanCodeTable& codes) {
  DcTable table{};
  for (int i = 1; i < 2 * kDcMiddle; ++i) table[i] = CodeOf(codes, 0, i - kDcMiddle);
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
alignas(64) inline constexpr DcTable kDcValueCodes[2] = {MakeDcTable(kDcLumaCodes),
                                                         MakeDcTable(kDcChromaCodes)};

}  // namespace tkmjpg
