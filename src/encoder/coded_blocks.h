// What the fast rows pass on: some MCUs as blocks of levels, and bits that are not bytes of the
// output yet.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "encoder/entropy_output.h"

namespace tkmjpg {

inline constexpr int kChunkMcus = 8;
inline constexpr int kChunkBlocks = 4 * kChunkMcus;

// A block on its way from the transform to the bits.
struct CodedBlock {
  alignas(64) std::array<int8_t, 64> levels;  // AC in zig-zag order; 0 in place of DC
  uint64_t nonzero;                           // positions of AC that are not 0
  int32_t dc;
  // Where a level does not fit its byte: all in natural order, the rows exact_stride words apart;
  // else null.
  const int16_t* exact;
};

struct McuChunk {
  std::array<CodedBlock, kChunkBlocks> blocks;
  alignas(64) std::array<std::array<int16_t, 256>, kChunkMcus> exact;
};

// Bits on their way into bytes that are not stuffed yet.
struct RawBits {
  using Word = size_t;
  static constexpr uint32_t kWordBits = 8 * sizeof(Word);
  // A block has at most 1660 bits; each step stores a word, and whole words are read.
  static constexpr int kCapacity = kChunkBlocks * 208 + 64;

  alignas(64) std::array<uint8_t, kCapacity> bytes;
  uint8_t* write;
  Word accumulator;  // the pending bits are its low `count` bits
  Word count;        // [0, 7] between symbols

  explicit RawBits(const EntropyOutput& output)
      : accumulator(output.bit_accumulator & ((1U << output.bit_count) - 1)),
        count(output.bit_count) {
    write = bytes.data();
  }
  // Leaves the pending bits to the output.
  void Finish(EntropyOutput& output) const {
    output.bit_accumulator = static_cast<uint32_t>(accumulator) & ((1U << count) - 1);
    output.bit_count = static_cast<uint32_t>(count);
  }
};

// Appends the whole bytes to the output, with a 0 after each 0xFF, and starts again.
void AppendStuffed(EntropyOutput& output, RawBits& raw);

}  // namespace tkmjpg
