#include "decoder/bytes_to_bits.h"

#include <cstddef>
#include <cstring>

namespace tkmjpg {
namespace {

// Copies whole words up to the first that has an 0xFF byte. Returns the bytes copied.
int CopyPlainWords(const uint8_t* from, const uint8_t* end, uint8_t* write, int capacity) {
  using Word = size_t;
  constexpr int kStep = sizeof(Word);
  constexpr Word kLow = ~Word{0} / 255, kHigh = kLow << 7;
  int copied = 0;
  while (capacity - copied >= kStep && end - from >= kStep) {
    Word word;
    std::memcpy(&word, from, kStep);
    if (((~word - kLow) & word & kHigh) != 0) break;
    std::memcpy(write + copied, &word, kStep);
    from += kStep;
    copied += kStep;
  }
  return copied;
}

}  // namespace

int StageBytes(EntropyInput& input, uint8_t* write, int capacity) {
  int moved = 0;
  while (input.read_pos != input.data_end && moved < capacity) {
    const uint8_t byte = *input.read_pos;
    if (byte != 0xFF) {
      const int copied =
          CopyPlainWords(input.read_pos, input.data_end, write + moved, capacity - moved);
      if (copied == 0) write[moved] = byte;
      input.read_pos += copied == 0 ? 1 : copied;
      moved += copied == 0 ? 1 : copied;
      continue;
    }
    ++input.read_pos;
    if (input.read_pos == input.data_end) break;
    const uint8_t code = *input.read_pos++;
    if (code != 0x00) {
      input.pending_marker = code;
      break;
    }
    write[moved++] = 0xFF;
  }
  return moved;
}

}  // namespace tkmjpg
