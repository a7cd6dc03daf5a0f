#include "encoder/coded_blocks.h"

#include <bit>
#include <cstring>

namespace tkmjpg {
namespace {

// The highest bit of each byte that is 0xFF, and of no byte before the first of them in memory.
RawBits::Word MarkOnes(RawBits::Word bytes) {
  constexpr RawBits::Word kLow = ~RawBits::Word{0} / 255, kHigh = kLow << 7;
  return (~bytes - kLow) & bytes & kHigh;
}

}  // namespace

void AppendStuffed(EntropyOutput& output, RawBits& raw) {
  static_assert(std::endian::native == std::endian::little);
  constexpr size_t kStep = sizeof(RawBits::Word);
  const uint8_t* from = raw.bytes.data();
  const uint8_t* const end = raw.write;
  raw.write = raw.bytes.data();
  if (output.output_position + 2 * static_cast<size_t>(end - from) + kStep >
      output.output_capacity) {
    for (; from != end; ++from) PutEntropyByte(output, *from);
    return;
  }
  uint8_t* to = output.output_start + output.output_position;
  while (from < end) {
    RawBits::Word bytes;
    std::memcpy(&bytes, from, kStep);
    std::memcpy(to, &bytes, kStep);
    const RawBits::Word ones = MarkOnes(bytes);
    size_t step = kStep;
    if (ones != 0) step = static_cast<size_t>(std::countr_zero(ones)) / 8 + 1;
    const bool stuffed = ones != 0 && from + step <= end;
    if (from + step > end) step = static_cast<size_t>(end - from);
    from += step;
    to += step;
    if (stuffed) *to++ = 0;
  }
  output.output_position = static_cast<uint64_t>(to - output.output_start);
}

}  // namespace tkmjpg
