#include "decoder/fast_decoder.h"

#include <algorithm>
#include <cstring>

#include "cpu/targets.h"
#include "decoder/decoder_kernels.h"
#include "decoder/huffman_decoder.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

constexpr int kAcBits = 12, kDcBits = 10;

// An entry of the AC table: what 12 bits resolve to, as fields of one word.
//   0-5    bits to consume            6      the block ends behind it
//   8-11   zeros ahead of the first coefficient
//   12-17  positions covered, the second coefficient being the last of them (or the first again);
//          63 when the bits resolve to no coefficient: that is past the end from any position
//   18-24  first coefficient          25-31  second coefficient
// Where they hold a whole code but not its amplitude: bits 0 to 5 and 8 to 11 as above, for that
// coefficient, and in bits 18 to 21 the size of the amplitude, else 0.
using AcTable = std::array<uint32_t, 1 << kAcBits>;
constexpr uint32_t kEndFlag = 0x40;
constexpr uint32_t kUnresolved = 63U << 12;

constexpr uint32_t PackEntry(uint32_t bits, bool end, uint32_t run, uint32_t covered, int first,
                             int second) {
  return bits | (end ? kEndFlag : 0) | run << 8 | covered << 12 |
         (static_cast<uint32_t>(first) & 0x7F) << 18 | static_cast<uint32_t>(second) << 25;
}

struct Code {
  uint8_t length = 0;  // 0: no code of up to 12 bits
  uint8_t value = 0;
};
using CodeTable = std::array<Code, 1 << kAcBits>;

template <int N>
constexpr CodeTable MakeCodes(const HuffmanSpec<N>& huffman) {
  CodeTable table{};
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t value) {
    if (length > kAcBits) return;
    const uint32_t span = 1U << (kAcBits - length);
    for (uint32_t i = 0; i < span; ++i) {
      table[code * span + i] = {static_cast<uint8_t>(length), value};
    }
  });
  return table;
}

// One symbol at the head of `string`, of whose bits the first `known` count.
struct Symbol {
  bool resolved = false;
  uint32_t bits = 0;
  uint32_t run = 0;
  int value = 0;
  bool end = false;
};

constexpr Symbol ReadSymbol(const CodeTable& codes, uint32_t string, uint32_t known) {
  const Code code = codes[string];
  const uint32_t size = code.value & 15, bits = code.length + size;
  Symbol symbol;
  if (code.length == 0 || bits > known) return symbol;
  const auto amplitude = static_cast<int>(string >> (kAcBits - bits) & ((1U << size) - 1));
  symbol.resolved = true;
  symbol.bits = bits;
  symbol.run = code.value >> 4;
  symbol.value =
      size == 0 || amplitude >> (size - 1) != 0 ? amplitude : amplitude - (1 << size) + 1;
  symbol.end = code.value == 0;
  return symbol;
}

constexpr uint32_t ResolveAc(const CodeTable& codes, uint32_t string) {
  constexpr uint32_t kMask = (1U << kAcBits) - 1;
  const Symbol first = ReadSymbol(codes, string, kAcBits);
  if (!first.resolved) {
    const Code code = codes[string];
    const uint32_t size = code.value & 15;
    return kUnresolved | size << 18 | code.value >> 4 << 8 | (code.length + size);
  }
  if (first.end) return PackEntry(first.bits, true, 0, 1, 0, 0);
  const Symbol second = ReadSymbol(codes, string << first.bits & kMask, kAcBits - first.bits);
  if (!second.resolved || second.end) {
    return PackEntry(first.bits + second.bits, second.end, first.run, first.run + 1, first.value,
                     first.value);
  }
  const uint32_t bits = first.bits + second.bits;
  const Symbol third = ReadSymbol(codes, string << bits & kMask, kAcBits - bits);
  const bool end = third.resolved && third.end;
  return PackEntry(bits + (end ? third.bits : 0), end, first.run, first.run + second.run + 2,
                   first.value, second.value);
}

template <int N>
constexpr AcTable MakeAcTable(const HuffmanSpec<N>& huffman) {
  const CodeTable codes = MakeCodes(huffman);
  AcTable table{};
  for (uint32_t string = 0; string < table.size(); ++string)
    table[string] = ResolveAc(codes, string);
  return table;
}

// The DC table: difference << 8 | bits to consume; 0 when ten bits do not resolve it.
using DcTable = std::array<int32_t, 1 << kDcBits>;

template <int N>
constexpr DcTable MakeDcTable(const HuffmanSpec<N>& huffman) {
  DcTable table{};
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t size) {
    const uint32_t bits = length + size;
    if (bits > kDcBits) return;
    const uint32_t span = 1U << (kDcBits - bits);
    for (int amplitude = 0; amplitude < 1 << size; ++amplitude) {
      const bool positive = size == 0 || amplitude >> (size - 1) != 0;
      const int difference = positive ? amplitude : amplitude - (1 << size) + 1;
      const uint32_t first = (code << size | static_cast<uint32_t>(amplitude)) * span;
      for (uint32_t i = 0; i < span; ++i) {
        table[first + i] = difference * 256 + static_cast<int32_t>(bits);
      }
    }
  });
  return table;
}

alignas(64) constexpr AcTable kAcLuma = MakeAcTable(kAcLumaSpec);
alignas(64) constexpr AcTable kAcChroma = MakeAcTable(kAcChromaSpec);
alignas(64) constexpr DcTable kDcLuma = MakeDcTable(kDcLumaSpec);
alignas(64) constexpr DcTable kDcChroma = MakeDcTable(kDcChromaSpec);

// Zig-zag position to word of an MCU's block.
constexpr std::array<uint8_t, 64> MakeMcuOrder() {
  std::array<uint8_t, 64> order{};
  for (int k = 0; k < 64; ++k) {
    order[k] = static_cast<uint8_t>(32 * (kZigZag[k] % 8) + kZigZag[k] / 8);
  }
  return order;
}
alignas(64) constexpr std::array<uint8_t, 64> kMcuOrder = MakeMcuOrder();

// The reader's state while it is in registers.
struct BitWindow {
  uint64_t bits;
  uint64_t count;
  const uint8_t* next;
  bool valid = true;  // all codes so far are ones of the tables
};

// At least 56 bits. What is loaded beyond the counted bits is the same at the next refill.
TKMJPG_INLINE_AVX2 void Refill(BitWindow& w) {
  uint64_t word;
  std::memcpy(&word, w.next, 8);
  w.bits |= __builtin_bswap64(word) >> w.count;
  w.next += (63 - w.count) >> 3;
  w.count |= 56;
}

TKMJPG_INLINE_AVX2 void Consume(BitWindow& w, uint32_t bits) {
  w.bits <<= bits & 63;
  w.count -= bits & 63;
}

TKMJPG_INLINE_AVX2 uint32_t Peek(const BitWindow& w, uint32_t bits) {
  return static_cast<uint32_t>(w.bits >> (64 - bits));
}

// One look-up of the plain decoder, up to 26 bits.
template <typename Lookup>
TKMJPG_TARGET_AVX2 LookupEntry LookUpPlain(BitWindow& w, const Lookup& lookup,
                                           const std::array<LookupLevel, 3>& levels) {
  Refill(w);
  uint32_t consumed = 0;
  LookupEntry entry;
  for (const LookupLevel& level : levels) {
    Consume(w, static_cast<uint32_t>(level.prefix_bits) - consumed);
    consumed = static_cast<uint32_t>(level.prefix_bits);
    entry = lookup[static_cast<uint32_t>(level.first_entry) +
                   Peek(w, static_cast<uint32_t>(level.index_bits))];
    if (entry.value_index != 0) break;
  }
  Consume(w, entry.length);
  // What an invalid code ends in may lie behind the data, though it consumes less.
  w.valid &= entry.length != 0;
  return entry;
}

TKMJPG_INLINE_AVX2 int16_t TakeValue(BitWindow& w, const LookupEntry& entry) {
  uint32_t index = entry.value_index;
  if (entry.extra != 0) {
    index += Peek(w, entry.extra);
    Consume(w, entry.extra);
  }
  return kCoefficientValues[index];
}

__attribute__((noinline)) TKMJPG_TARGET_AVX2 int32_t TakeLongDc(BitWindow& w,
                                                                const DcLookup& lookup) {
  return TakeValue(w, LookUpPlain(w, lookup, kDcLevels));
}

// One symbol that the table does not resolve. Returns the position behind it, 64 at the block's
// end.
__attribute__((noinline)) TKMJPG_TARGET_AVX2 uint32_t TakeLongAc(BitWindow& w, int16_t* block,
                                                                 uint32_t k,
                                                                 const AcLookup& lookup) {
  const LookupEntry entry = LookUpPlain(w, lookup, kAcLevels);
  const uint32_t position = k - 1 + entry.advance;
  if (position > 63) return 64;
  const int16_t value = TakeValue(w, entry);
  if (value != 0) block[kMcuOrder[position]] = value;
  return position + 1;
}

// The coefficient whose code, but not its amplitude, the table resolved.
TKMJPG_INLINE_AVX2 bool TakeAmplitude(BitWindow& w, uint32_t entry, int16_t* block, uint32_t& k) {
  const uint32_t bits = entry & 63, size = entry >> 18 & 15, position = k + (entry >> 8 & 15);
  if ((entry >> 12 & 63) != 63 || size == 0 || position > 63) return false;
  Refill(w);
  const auto amplitude = static_cast<int32_t>(w.bits << (bits - size) >> (64 - size));
  const int32_t negative = amplitude - (1 << size) + 1;
  block[kMcuOrder[position]] =
      static_cast<int16_t>(amplitude >> (size - 1) != 0 ? amplitude : negative);
  Consume(w, bits);
  k = position + 1;
  return true;
}

template <bool kLuma>
TKMJPG_INLINE_AVX2 void DecodeBlockFast(BitWindow& w, int16_t* block, int32_t& last_dc) {
  const AcTable& table = kLuma ? kAcLuma : kAcChroma;
  Refill(w);
  const int32_t dc = (kLuma ? kDcLuma : kDcChroma)[Peek(w, kDcBits)];
  Consume(w, static_cast<uint32_t>(dc));
  int32_t difference = dc >> 8;
  if (dc == 0) [[unlikely]]
    difference = TakeLongDc(w, kLuma ? kDcLumaLookup : kDcChromaLookup);
  last_dc = static_cast<int16_t>(last_dc + difference);
  block[0] = static_cast<int16_t>(last_dc);

  for (uint32_t k = 1; k < 64;) {
    Refill(w);
    // Four look-ups of 12 bits on 56.
    for (int i = 0; i < 4; ++i) {
      const uint32_t entry = table[Peek(w, kAcBits)];
      const uint32_t behind = k + (entry >> 12 & 63);
      if (behind > 63) [[unlikely]] {
        if (!TakeAmplitude(w, entry, block, k)) {
          k = TakeLongAc(w, block, k, kLuma ? kAcLumaLookup : kAcChromaLookup);
        }
        break;
      }
      Consume(w, entry);
      block[kMcuOrder[k + (entry >> 8 & 15)]] =
          static_cast<int16_t>(static_cast<int32_t>(entry << 7) >> 25);
      block[kMcuOrder[behind - 1]] = static_cast<int16_t>(static_cast<int32_t>(entry) >> 25);
      k = behind;
      if ((entry & kEndFlag) != 0) return;
    }
  }
}

// Calls between(i), i from 0 to 2, when there is something to hide behind: ahead of either chroma
// block and at the end. False when there was an invalid code.
template <typename Between>
TKMJPG_TARGET_AVX2 bool DecodeMcuFast(FastDecoder& decoder, std::array<int32_t, 3>& last_dc,
                                      int16_t* coefficients, Between between) {
  BitWindow w = {decoder.bits, decoder.bit_count, decoder.buffer.data() + decoder.next};
  DecodeBlockFast<true>(w, coefficients, last_dc[0]);
  DecodeBlockFast<true>(w, coefficients + 8, last_dc[0]);
  between(0);
  DecodeBlockFast<false>(w, coefficients + 16, last_dc[1]);
  between(1);
  DecodeBlockFast<false>(w, coefficients + 24, last_dc[2]);
  between(2);
  decoder.bits = w.bits;
  decoder.bit_count = static_cast<uint32_t>(w.count);
  decoder.next = static_cast<int>(w.next - decoder.buffer.data());
  return w.valid;
}

// The bit position of the next unread bit, from the start of the buffer.
int BitPosition(const FastDecoder& decoder) {
  return decoder.next * 8 - static_cast<int>(decoder.bit_count);
}

void StageMore(DecoderContext& context, FastDecoder& decoder) {
  const int kept = std::max(decoder.filled - decoder.next, 0);
  std::memmove(decoder.buffer.data(), decoder.buffer.data() + decoder.next,
               static_cast<size_t>(kept));
  decoder.next = 0;
  const int room = FastDecoder::kBufferBytes - kept;
  const int moved = context.kernels->stage_bytes(context.input, decoder.buffer.data() + kept, room);
  decoder.filled = kept + moved;
  decoder.ended =
      context.input.pending_marker != 0 || context.input.read_pos == context.input.data_end;
  if (decoder.ended) {
    std::memset(decoder.buffer.data() + decoder.filled, 0xFF, FastDecoder::kPadding);
  }
}

// Whether the plain decoder, too, has met the end of the interval here, and not read past it: it
// tops up its buffer when fewer bytes than kLargestBlock are ahead of a block, and no block is so
// long that four bytes behind it would be out of its sight.
bool IntervalIsSound(DecoderContext& context, FastDecoder& decoder) {
  if (!decoder.ended) StageMore(context, decoder);
  const int left = decoder.filled * 8 - BitPosition(decoder);
  return decoder.ended && left >= 0 && left < 32;
}

bool PassRestartFast(DecoderContext& context, FastDecoder& decoder) {
  if (!IntervalIsSound(context, decoder)) return false;
  if (context.input.pending_marker != kRst0 + context.restart_number) return false;
  context.input.pending_marker = 0;
  context.restart_number = (context.restart_number + 1) % 8;
  context.restarts_to_go = context.restart_interval;
  context.last_dc = {};
  decoder.next = decoder.filled = 0;
  decoder.bits = decoder.bit_count = 0;
  decoder.ended = false;
  return true;
}

// The MCUs of a row on their way to the picture. One within it waits until the next one has been
// decoded, or its luma: its coefficients have reached the cache by then, and wide loads do not wait
// for them.
struct McuOutput {
  const DecoderContext& context;
  FastDecoder& decoder;
  const McuWriter& writer;
  size_t mcu_bytes;
  McuJob job;  // the one that waits
  bool waits = false;

  void Step(size_t i) {
    if (waits) writer[i](job);
  }
  void AllSteps() {
    if (waits) WriteMcu(writer, job);
  }
  // Takes the MCU that has just been decoded.
  void Take(uint32_t column) {
    job.coefficients = decoder.coefficients[column & 1].data();
    job.offset = column * mcu_bytes;
    const int pixels = context.width - 16 * static_cast<int>(column);
    waits = pixels >= 16;
    if (waits) return;
    if (pixels > 0) {
      WriteCut(static_cast<size_t>(pixels));
    } else {
      std::memset(job.coefficients, 0, kMcuWords * sizeof(int16_t));
    }
  }
  // An MCU that the picture's right edge cuts.
  void WriteCut(size_t pixels) const {
    alignas(64) uint8_t lines[8][64];
    uint8_t* line_rows[8];
    for (int r = 0; r < 8; ++r) line_rows[r] = lines[r];
    McuJob cut = job;
    cut.rows = line_rows;
    cut.offset = 0;
    WriteMcu(writer, cut);
    for (int r = 0; r < job.row_count; ++r) {
      std::memcpy(job.rows[r] + job.offset, lines[r], pixels * mcu_bytes / 16);
    }
  }
};

template <bool kInSteps>
bool DecodeRow(DecoderContext& context, FastDecoder& decoder, McuOutput& output) {
  for (uint32_t column = 0; column < context.mcus_per_row; ++column) {
    if (context.restart_interval != 0 && context.restarts_to_go == 0 &&
        !PassRestartFast(context, decoder)) {
      return false;
    }
    if (!decoder.ended && decoder.filled - decoder.next < FastDecoder::kLargestMcu) {
      StageMore(context, decoder);
    }
    if (BitPosition(decoder) > decoder.filled * 8) return false;
    const auto between = [&](size_t i) {
      if constexpr (kInSteps) output.Step(i);
    };
    int16_t* const coefficients = decoder.coefficients[column & 1].data();
    if (!DecodeMcuFast(decoder, context.last_dc, coefficients, between)) return false;
    if constexpr (!kInSteps) output.Step(0);
    output.Take(column);
    --context.restarts_to_go;  // only read with an interval
  }
  output.AllSteps();
  return true;
}

}  // namespace

void StartFastImage(const DecoderContext& context, FastDecoder& decoder) {
  for (int u = 0; u < 8; ++u) {
    for (int l = 0; l < 4; ++l) {
      std::copy_n(context.dequant[l / 2].data() + 8 * u, 8,
                  decoder.dequant.data() + 32 * u + 8 * l);
    }
  }
  decoder.coefficients = {};
}

bool DecodeMcuRowFast(DecoderContext& context, FastDecoder& decoder,
                      const std::array<uint8_t*, 8>& rows, int row_count) {
  const McuWriter writer = context.kernels->select_writer(context.pixel_format);
  const McuJob job = {
      nullptr, decoder.dequant.data(), decoder.samples.data(), rows.data(), row_count, 0};
  McuOutput output = {context, decoder, writer, size_t{16} * BytesPerPixel(context.pixel_format),
                      job};
  const bool in_steps = writer[1] != nullptr;
  const bool sound = in_steps ? DecodeRow<true>(context, decoder, output)
                              : DecodeRow<false>(context, decoder, output);
  if (!sound) return false;
  context.rows_done += row_count;
  return true;
}

bool FinishFastImage(DecoderContext& context, FastDecoder& decoder) {
  return IntervalIsSound(context, decoder);
}

}  // namespace tkmjpg
