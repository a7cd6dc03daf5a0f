#include "decoder/bits_to_coefficients.h"

#include <algorithm>
#include <cstring>

#include "decoder/bytes_to_bits.h"

namespace tkmjpg {
namespace {

// Zig-zag position to transposed natural index.
constexpr std::array<uint8_t, 64> MakeBlockOrder() {
  std::array<uint8_t, 64> order{};
  for (int k = 0; k < 64; ++k) {
    order[k] = static_cast<uint8_t>(8 * (kZigZag[k] % 8) + kZigZag[k] / 8);
  }
  return order;
}
constexpr std::array<uint8_t, 64> kBlockOrder = MakeBlockOrder();

constexpr uint8_t kPastTheEnd = 63;  // an advance that ends any block

// The entry for a string of `bits` bits that begins with `prefix` bits that are consumed already.
// Codes are prefix-free, so that at most one of the table begins the string.
template <int N>
constexpr LookupEntry ResolveString(const HuffmanSpec<N>& huffman, uint32_t string, int bits,
                                    int prefix, bool ac) {
  LookupEntry entry;
  bool found = false, longer_code = false;
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t code_length, uint8_t value) {
    const int length = static_cast<int>(code_length);
    if (length > bits) {
      longer_code |= code >> (length - bits) == string;
      return;
    }
    if (string >> (bits - length) != code) return;
    found = true;
    const int size = value & 15, run = value >> 4, left = bits - length;
    entry.length = static_cast<uint8_t>(length - prefix);
    entry.advance = static_cast<uint8_t>(!ac ? 0 : value == 0 ? kPastTheEnd : run + 1);
    entry.value_index = static_cast<uint16_t>(1 << size);
    if (size > left) {
      entry.extra = static_cast<uint8_t>(size);
    } else {  // the amplitude lies inside the string: folded
      entry.length = static_cast<uint8_t>(entry.length + size);
      entry.value_index |= static_cast<uint16_t>((string >> (left - size)) & ((1U << size) - 1));
    }
  });
  if (!found && !longer_code) {  // an invalid code
    entry.value_index = 1;
    entry.advance = ac ? kPastTheEnd : 0;
  }
  return entry;
}

template <typename Lookup, int N>
constexpr Lookup MakeLookup(const HuffmanSpec<N>& huffman, const std::array<LookupLevel, 3>& levels,
                            bool ac) {
  Lookup lookup{};
  for (const LookupLevel& level : levels) {
    const uint32_t prefix = (1U << level.prefix_bits) - 1;
    for (uint32_t index = 0; index < 1U << level.index_bits; ++index) {
      lookup[level.first_entry + index] =
          ResolveString(huffman, prefix << level.index_bits | index,
                        level.prefix_bits + level.index_bits, level.prefix_bits, ac);
    }
  }
  return lookup;
}

}  // namespace

constexpr DcLookup kDcLumaLookup = MakeLookup<DcLookup>(kDcLumaSpec, kDcLevels, false);
constexpr DcLookup kDcChromaLookup = MakeLookup<DcLookup>(kDcChromaSpec, kDcLevels, false);
constexpr AcLookup kAcLumaLookup = MakeLookup<AcLookup>(kAcLumaSpec, kAcLevels, true);
constexpr AcLookup kAcChromaLookup = MakeLookup<AcLookup>(kAcChromaSpec, kAcLevels, true);

namespace {

void EnsureBits(BitReader& reader, uint32_t count) {
  if (reader.bit_count >= count) return;
  const uint8_t* next = reader.buffer.data() + reader.bit_read_pos;
  reader.bit_accumulator =
      reader.bit_accumulator << 16 | static_cast<uint32_t>(next[0]) << 8 | next[1];
  reader.bit_read_pos += 2;
  reader.bit_count += 16;
}

uint32_t PeekBits(const BitReader& reader, uint32_t count) {
  return (reader.bit_accumulator >> (reader.bit_count - count)) & ((1U << count) - 1);
}

// The value index that the next bits give, its amplitude bits included.
template <typename Lookup>
LookupEntry LookUp(BitReader& reader, const Lookup& lookup,
                   const std::array<LookupLevel, 3>& levels) {
  EnsureBits(reader, 16);
  int consumed = 0;
  const LookupEntry* entry = lookup.data();
  for (const LookupLevel& level : levels) {
    reader.bit_count -= static_cast<uint32_t>(level.prefix_bits - consumed);
    consumed = level.prefix_bits;
    const auto index_bits = static_cast<uint32_t>(level.index_bits);
    entry = &lookup[level.first_entry + PeekBits(reader, index_bits)];
    if (entry->value_index != 0) break;
  }
  reader.bit_count -= entry->length;
  return *entry;
}

int16_t TakeValue(BitReader& reader, const LookupEntry& entry) {
  uint32_t index = entry.value_index;
  if (entry.extra != 0) {
    EnsureBits(reader, entry.extra);
    index += PeekBits(reader, entry.extra);
    reader.bit_count -= entry.extra;
  }
  return kCoefficientValues[index];
}

}  // namespace

bool OnlyOnesAhead(const BitReader& reader, const EntropyInput& input) {
  const uint32_t pending = (1U << reader.bit_count) - 1;
  return (input.pending_marker != 0 || input.read_pos == input.data_end) &&
         reader.bit_read_pos >= reader.filled_to && (~reader.bit_accumulator & pending) == 0;
}

void RefillBits(BitReader& reader, EntropyInput& input) {
  int carried = 0;
  if (reader.bit_read_pos >= 0) {
    carried = BitReader::kBufferBytes - reader.bit_read_pos;
    if (carried >= BitReader::kLargestBlock) return;
    std::memmove(reader.buffer.data(), reader.buffer.data() + reader.bit_read_pos,
                 static_cast<size_t>(carried));
    reader.filled_to = std::max(reader.filled_to - reader.bit_read_pos, 0);
  } else {
    reader.filled_to = 0;
  }
  reader.bit_read_pos = 0;
  uint8_t* const end = reader.buffer.data() + BitReader::kBufferBytes;
  uint8_t* write = reader.buffer.data() + carried;
  if (input.pending_marker == 0 && input.read_pos != input.data_end) {
    write += StageBytes(input, write, static_cast<int>(end - write));
    if (write != end) *write++ = 0;
    reader.filled_to = static_cast<int>(write - reader.buffer.data());
  }
  std::fill(write, end, uint8_t{0xFF});
}

void DecodeBlock(BitReader& reader, int16_t* block, int32_t dc_prediction,
                 const DcLookup& dc_lookup, const AcLookup& ac_lookup) {
  const LookupEntry dc = LookUp(reader, dc_lookup, kDcLevels);
  block[0] = static_cast<int16_t>(dc_prediction + TakeValue(reader, dc));
  for (int k = 0; k < 63;) {
    const LookupEntry ac = LookUp(reader, ac_lookup, kAcLevels);
    k += ac.advance;
    if (k > 63) return;
    // ZRL and EOB store a 0, which changes nothing.
    const int16_t value = TakeValue(reader, ac);
    if (value != 0) block[kBlockOrder[k]] = value;
  }
}

}  // namespace tkmjpg
