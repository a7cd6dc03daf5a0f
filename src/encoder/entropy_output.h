// Writing bytes and entropy-coded bits within the room of an EntropyOutput.
#pragma once

#include <cstdint>
#include <span>

#include "encoder/encoder_context.h"

namespace tkmjpg {

inline void PutByte(EntropyOutput& output, uint32_t byte) {
  if (output.output_position < output.output_capacity) {
    output.output_start[output.output_position] = static_cast<uint8_t>(byte);
  }
  ++output.output_position;
}

inline void PutWord(EntropyOutput& output, uint32_t word) {
  PutByte(output, word >> 8);
  PutByte(output, word);
}

inline void PutBytes(EntropyOutput& output, std::span<const uint8_t> bytes) {
  for (const uint8_t byte : bytes) PutByte(output, byte);
}

// A byte of entropy-coded data; 0xFF is stuffed (ITU T.81 F.1.2.3).
inline void PutEntropyByte(EntropyOutput& output, uint32_t byte) {
  PutByte(output, byte);
  if ((byte & 0xFF) == 0xFF) PutByte(output, 0);
}

// Appends the low `count` bits of `bits`, the highest first; count within [0, 24].
inline void PutBits(EntropyOutput& output, uint32_t bits, uint32_t count) {
  output.bit_accumulator = (output.bit_accumulator << count) | (bits & ((1U << count) - 1));
  output.bit_count += count;
  while (output.bit_count >= 8) {
    output.bit_count -= 8;
    PutEntropyByte(output, (output.bit_accumulator >> output.bit_count) & 0xFF);
  }
}

// Completes the last byte with 1 bits.
inline void FlushBits(EntropyOutput& output) {
  if (output.bit_count != 0) PutBits(output, 0xFF, 8 - output.bit_count);
  output.bit_accumulator = 0;
}

}  // namespace tkmjpg
