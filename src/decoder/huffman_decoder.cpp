#include "decoder/huffman_decoder.h"

#include <algorithm>
#include <cstring>

#include "decoder/decoder_kernels.h"
#include "decoder/inverse_dct.h"
#include "decoder/output_conversion.h"

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

// The value index that the bits ahead give, its amplitude bits included.
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

// Goes over to the next interval: exactly the expected marker must have ended the last one.
bool PassRestart(DecoderContext& context, BitReader& reader) {
  reader.bit_accumulator = reader.bit_count = 0;
  reader.bit_read_pos = -1;
  if (context.input.pending_marker != kRst0 + context.restart_number) return false;
  context.input.pending_marker = 0;
  context.restart_number = (context.restart_number + 1) % 8;
  for (uint32_t c = 0; c < context.scan_components; ++c) context.last_dc[c] = 0;
  context.restarts_to_go = context.restart_interval;
  return true;
}

// Whether all that can still be read are 1 bits: then every further block is flat, its DC the
// predictor's, and the reader is as good as unmoved by it.
bool OnlyOnesAhead(const BitReader& reader, const EntropyInput& input) {
  const uint32_t pending = (1U << reader.bit_count) - 1;
  return (input.pending_marker != 0 || input.read_pos == input.data_end) &&
         reader.bit_read_pos >= reader.filled_to && (~reader.bit_accumulator & pending) == 0;
}

void DecodeMcu(DecoderContext& context, BitReader& reader, uint8_t* samples) {
  constexpr int kComponents[4] = {0, 0, 1, 2};
  for (int b = 0; b < 4; ++b) {
    int32_t& last_dc = context.last_dc[kComponents[b]];
    alignas(64) int16_t block[64] = {};
    RefillBits(reader, context.input);
    DecodeBlock(reader, block, last_dc, b < 2 ? kDcLumaLookup : kDcChromaLookup,
                b < 2 ? kAcLumaLookup : kAcChromaLookup);
    last_dc = block[0];
    context.kernels->inverse_transform(samples + 64 * b, block,
                                       context.dequant[b < 2 ? 0 : 1].data());
  }
}

// Writes the MCU at the rows' cursors, which move on; of one that the picture's right edge cuts,
// the pixels that are left.
void OutputMcu(const DecoderContext& context, McuConverter converter, uint32_t column,
               const uint8_t* samples, std::array<uint8_t*, 8>& rows, int row_count) {
  const int pixels = context.width - 16 * static_cast<int>(column);
  if (pixels <= 0) return;
  if (pixels >= 16) return converter(rows.data(), samples, row_count);
  alignas(64) uint8_t lines[8][64];
  std::array<uint8_t*, 8> cursors;
  for (int r = 0; r < 8; ++r) cursors[r] = lines[r];
  converter(cursors.data(), samples, row_count);
  // The converter's own step tells the size of 16 pixels: 0 for one that writes nothing.
  const auto step = cursors[0] - lines[0];
  for (int r = 0; r < row_count; ++r) {
    std::memcpy(rows[r], lines[r], static_cast<size_t>(pixels * step / 16));
  }
}

}  // namespace

int StageBytes(EntropyInput& input, uint8_t* write, int room) {
  int moved = 0;
  while (input.read_pos != input.data_end && moved < room) {
    const uint8_t byte = *input.read_pos++;
    if (byte != 0xFF) {
      write[moved++] = byte;
      continue;
    }
    if (input.read_pos == input.data_end) break;  // a lone 0xFF at the end is dropped
    const uint8_t code = *input.read_pos++;
    if (code != 0x00) {
      input.pending_marker = code;
      break;
    }
    write[moved++] = 0xFF;
  }
  return moved;
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

bool DecodeMcuRow(DecoderContext& context, BitReader& reader, const std::array<uint8_t*, 8>& rows,
                  int row_count) {
  const McuConverter converter = SelectMcuConverter(*context.kernels, context.pixel_format);
  std::array<uint8_t*, 8> cursors = rows;
  alignas(64) uint8_t samples[kMcuBlockBytes];
  for (uint32_t column = 0; column < context.mcus_per_row; ++column) {
    if (context.restart_interval != 0 && context.restarts_to_go == 0 &&
        !PassRestart(context, reader)) {
      return false;
    }
    const bool cropped = 16 * static_cast<int>(column) >= context.width;
    if (!cropped || !OnlyOnesAhead(reader, context.input)) {
      DecodeMcu(context, reader, samples);
      OutputMcu(context, converter, column, samples, cursors, row_count);
    }
    --context.restarts_to_go;  // only read with an interval
  }
  context.rows_done += row_count;
  return true;
}

}  // namespace tkmjpg
