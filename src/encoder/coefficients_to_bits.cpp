#include "encoder/coefficients_to_bits.h"

#include <bit>
#include <cstdlib>

#include "encoder/entropy_output.h"

namespace tkmjpg {
namespace {

constexpr uint32_t kEndOfBlock = 0x00, kSixteenZeros = 0xF0;

uint32_t SizeOf(int32_t value) {
  return static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(std::abs(value))));
}

void PutCode(EntropyOutput& output, uint32_t entry) { PutBits(output, entry >> 8, entry & 0xFF); }

// The amplitude bits of F.1.2.1: negative values as one's complement.
void PutAmplitude(EntropyOutput& output, int32_t value, uint32_t size) {
  PutBits(output, static_cast<uint32_t>(value < 0 ? value - 1 : value), size);
}

}  // namespace

void EncodeBlock(EntropyOutput& output, const int16_t* block, int32_t dc_prediction,
                 const HuffmanCodeTable& dc_codes, const HuffmanCodeTable& ac_codes) {
  const int32_t difference = block[0] - dc_prediction;  // [-2040, 2040]
  const uint32_t dc_size = SizeOf(difference);
  PutCode(output, dc_codes[dc_size]);
  PutAmplitude(output, difference, dc_size);

  uint32_t run = 0;
  for (int k = 1; k < 64; ++k) {
    if (block[k] == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) PutCode(output, ac_codes[kSixteenZeros]);
    const uint32_t size = SizeOf(block[k]);
    PutCode(output, ac_codes[run << 4 | size]);
    PutAmplitude(output, block[k], size);
    run = 0;
  }
  if (run != 0) PutCode(output, ac_codes[kEndOfBlock]);
}

}  // namespace tkmjpg
