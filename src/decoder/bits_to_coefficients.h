// Entropy decoding (ITU T.81 F.2.2) with the fixed tables of Annex K: the definition, that any
// damage comes out of as it must.
#pragma once

#include <array>
#include <cstdint>

#include "decoder/decoder_context.h"
#include "frame/stream_format.h"

namespace tkmjpg {

// The bit reader. A staging buffer holds entropy data without its stuffing; DecodeBlock runs on it
// with no test for markers or the end, since RefillBits lets a block start only with more bytes
// in it than any block can take. After the end of the data stand one 0 byte, if the last refill
// had room for it, and then 0xFF bytes for ever: what is missing of a cut image comes out flat, and
// the same everywhere.
struct BitReader {
  static constexpr int kBufferBytes = 1024;
  // 63 codes of 26 bits, a DC code of 22, and four bytes read in advance.
  static constexpr int kLargestBlock = 216;

  std::array<uint8_t, kBufferBytes> buffer;
  int bit_read_pos = -1;  // next unread byte; -1 when the buffer is to be started again
  int filled_to = 0;      // after it the buffer holds 0xFF only
  uint32_t bit_accumulator = 0;
  uint32_t bit_count = 0;  // how many of its low bits are unread, [0, 31]
};

// An entry of a lookup: what the next bits resolve to. value_index 0 sends the look-up on to the
// next level.
struct LookupEntry {
  uint8_t length = 0;        // bits to consume
  uint8_t extra = 0;         // amplitude bits that are still to be read and added to value_index
  uint8_t advance = 0;       // AC: how far the position in zig-zag order moves
  uint16_t value_index = 0;  // into CoefficientValues
};

// Three levels, each after a prefix of 1 bits: the long codes of Annex K all begin with 1s.
struct LookupLevel {
  int prefix_bits, index_bits, first_entry;
};
inline constexpr std::array<LookupLevel, 3> kDcLevels = {{{0, 5, 0}, {4, 5, 32}, {6, 5, 64}}};
inline constexpr std::array<LookupLevel, 3> kAcLevels = {{{0, 8, 0}, {5, 7, 256}, {9, 7, 384}}};
using DcLookup = std::array<LookupEntry, 96>;
using AcLookup = std::array<LookupEntry, 512>;

// CoefficientValues: entry 2^size + bits is EXTEND of F.2.2.1; entries 0 and 1 are 0.
constexpr std::array<int16_t, 4096> MakeCoefficientValues() {
  std::array<int16_t, 4096> values{};
  for (int size = 1; size <= 11; ++size) {
    const int count = 1 << size;
    for (int bits = 0; bits < count; ++bits) {
      values[count + bits] = static_cast<int16_t>(bits >= count / 2 ? bits : bits - count + 1);
    }
  }
  return values;
}
inline constexpr std::array<int16_t, 4096> kCoefficientValues = MakeCoefficientValues();

extern const DcLookup kDcLumaLookup, kDcChromaLookup;
extern const AcLookup kAcLumaLookup, kAcChromaLookup;

// Tops up the staging buffer before a block.
void RefillBits(BitReader& reader, EntropyInput& input);

// Decodes one block into `block`, 64 words in transposed natural order that are zero on entry. An
// invalid code is a DC difference of 0 or ends the block; nothing is ever written out of bounds.
void DecodeBlock(BitReader& reader, int16_t* block, int32_t dc_prediction,
                 const DcLookup& dc_lookup, const AcLookup& ac_lookup);

// Whether all that can still be read are 1 bits: then every further block is flat, its DC the
// predictor's, and the reader is as good as unmoved by it.
bool OnlyOnesAhead(const BitReader& reader, const EntropyInput& input);

}  // namespace tkmjpg
