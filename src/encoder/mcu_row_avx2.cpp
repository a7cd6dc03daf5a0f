// EncodeMcuRow for AVX2, some MCUs at a time: mcu_blocks_avx2.cpp takes their pixels to blocks in
// zig-zag order with a bit mask of what is not zero. Here one table gives code and amplitude at
// once for a run and a coefficient of a byte, 64 bits are gathered ahead of each store, and a
// second pass stuffs the bytes. The few blocks with larger coefficients go another way.
#include <immintrin.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "cpu/targets.h"
#include "encoder/encoder_kernels.h"
#include "encoder/entropy_output.h"
#include "encoder/mcu_chunk_avx2.h"
#include "encoder/symbol_coder.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// (code and amplitude) << 6 | bits in all, by run << 8 | coefficient as a byte; and by run << 8 for
// the codes of no coefficient: EOB is run 0, ZRL run 15.
using ByteSymbolTable = std::array<uint32_t, 16 * 256>;

constexpr ByteSymbolTable MakeByteSymbolTable(const HuffmanCodeTable& codes) {
  ByteSymbolTable table{};
  for (uint32_t run = 0; run < 16; ++run) {
    for (int value = -127; value < 128; ++value) {
      uint32_t size = 0;
      while ((value < 0 ? -value : value) >> size != 0) ++size;
      const uint32_t amplitude =
          static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1U << size) - 1);
      const uint32_t code = codes[run << 4 | size] >> 8, length = codes[run << 4 | size] & 0xFF;
      table[run << 8 | static_cast<uint8_t>(value)] =
          (code << size | amplitude) << 6 | (length + size);
    }
  }
  return table;
}
alignas(64) constexpr ByteSymbolTable kByteSymbols[2] = {MakeByteSymbolTable(kAcLumaCodes),
                                                         MakeByteSymbolTable(kAcChromaCodes)};
constexpr uint32_t kEndOfBlock = 0, kSixteenZeros = 15 << 8;

// The bits that are not written yet, in registers.
struct BitSink {
  uint64_t accumulator, count;
  uint8_t* write;
};

// Appends the symbol of a table entry, at most 27 bits.
TKMJPG_INLINE_AVX2 void Put(BitSink& sink, uint32_t entry) {
  const uint32_t length = entry & 63;
  sink.accumulator = sink.accumulator << length | entry >> 6;
  sink.count += length;
}

// Moves the whole bytes out, at most seven: to be called before more than 57 bits are pending.
TKMJPG_INLINE_AVX2 void Drain(BitSink& sink) {
  const uint64_t bytes = __builtin_bswap64(sink.accumulator << (-sink.count & 63));
  std::memcpy(sink.write, &bytes, 8);
  sink.write += sink.count >> 3;
  sink.count &= 7;
}

TKMJPG_INLINE_AVX2 uint32_t ValueEntry(const uint32_t* table, int32_t value) {
  const uint32_t size = 32 - _lzcnt_u32(static_cast<uint32_t>(std::abs(value)));
  const uint32_t complement = static_cast<uint32_t>(value + (value >> 31));
  return table[size] + (_bzhi_u32(complement, size) << 6);
}

// The AC coefficients of a block, one after the other, and EOB.
TKMJPG_INLINE_AVX2 void PutCoefficients(BitSink& sink, const CodedBlock& block,
                                        const ByteSymbolTable& symbols) {
  uint64_t rest = block.nonzero;
  uint64_t next = 1;  // the position behind the last symbol
  while (rest != 0) {
    const uint64_t position = _tzcnt_u64(rest);
    rest = _blsr_u64(rest);
    uint64_t run = position - next;
    next = position + 1;
    for (; run > 15; run -= 16) [[unlikely]] {
        Put(sink, symbols[kSixteenZeros]);
        Drain(sink);
      }
    Put(sink, symbols[run << 8 | static_cast<uint8_t>(block.levels[position])]);
    Drain(sink);
  }
  if (next != 64) {
    Put(sink, symbols[kEndOfBlock]);
    Drain(sink);
  }
}

// The same for any coefficients, from words in natural order, rows 16 words apart.
TKMJPG_TARGET_AVX2 void PutLargeCoefficients(BitSink& sink, uint64_t nonzero, const int16_t* words,
                                             const uint32_t* entries) {
  uint64_t next = 1;
  for (uint64_t rest = nonzero; rest != 0; rest = _blsr_u64(rest)) {
    const uint64_t position = _tzcnt_u64(rest);
    uint64_t run = position - next;
    next = position + 1;
    for (; run > 15; run -= 16) {
      Put(sink, entries[0xF0]);
      Drain(sink);
    }
    const int n = kZigZag[position];
    Put(sink, ValueEntry(entries + 16 * run, words[16 * (n / 8) + n % 8]));
    Drain(sink);
  }
  if (next != 64) Put(sink, entries[0]);
  Drain(sink);
}

// The blocks of `mcus` MCUs, each left luma, right luma, Cb, Cr.
TKMJPG_TARGET_AVX2 void PutChunk(const McuChunk& chunk, uint32_t mcus,
                                 std::array<int32_t, 3>& last_dc, RawBits& raw) {
  BitSink sink = {raw.accumulator, raw.count, raw.write};
  for (uint32_t b = 0; b < 4 * mcus; ++b) {
    const CodedBlock& block = chunk.blocks[b];
    const uint32_t chroma = b >> 1 & 1, component = chroma + (b & chroma);
    const uint32_t first_entry = chroma != 0 ? kChromaEntries : 0;
    const int32_t difference = block.dc - last_dc[component];
    last_dc[component] = block.dc;
    Put(sink, ValueEntry(kSymbolTable.data() + kDcEntries + first_entry, difference));
    Drain(sink);
    if (block.limited) [[unlikely]] {
      PutLargeCoefficients(sink, block.nonzero, chunk.words[b / 2].data() + 8 * (b & 1),
                           kSymbolTable.data() + first_entry);
    } else {
      PutCoefficients(sink, block, kByteSymbols[chroma]);
    }
  }
  raw.accumulator = sink.accumulator;
  raw.count = sink.count;
  raw.write = sink.write;
}

// Appends raw bytes to the output, with a 0 behind each 0xFF.
TKMJPG_TARGET_AVX2 void AppendStuffed(EntropyOutput& output, RawBits& raw) {
  const uint8_t* from = raw.bytes.data();
  const uint8_t* const end = raw.write;
  raw.write = raw.bytes.data();
  const auto left = static_cast<size_t>(end - from);
  if (output.output_position + 2 * left + 64 > output.output_capacity) {
    for (; from != end; ++from) PutEntropyByte(output, *from);
    return;
  }
  uint8_t* to = output.output_start + output.output_position;
  while (from < end) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    const auto ones =
        static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(-1))));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
    const auto step = std::min<ptrdiff_t>(_tzcnt_u32(ones) + (ones != 0 ? 1 : 0), end - from);
    from += step;
    to += step;
    if (ones != 0 && from[-1] == 0xFF) *to++ = 0;
  }
  output.output_position = static_cast<uint64_t>(to - output.output_start);
}

}  // namespace

void EncodeMcuRowAvx2(EncoderContext& context, const std::array<const uint8_t*, 8>& rows) {
  const ChunkFiller fill = SelectChunkFillerAvx2(context.pixel_format);
  if (context.restart_interval != 0 || fill == nullptr) return EncodeMcuRow(context, rows);
  EntropyOutput& output = context.output;
  McuChunk chunk;
  RawBits raw;
  raw.write = raw.bytes.data();
  raw.accumulator = output.bit_accumulator & ((1U << output.bit_count) - 1);
  raw.count = output.bit_count;
  for (uint32_t column = 0; column < context.mcus_per_row; column += kChunkMcus) {
    const uint32_t mcus = std::min<uint32_t>(kChunkMcus, context.mcus_per_row - column);
    fill(context, rows, column, mcus, chunk);
    PutChunk(chunk, mcus, context.last_dc, raw);
    AppendStuffed(output, raw);
  }
  output.bit_accumulator = static_cast<uint32_t>(raw.accumulator) & ((1U << raw.count) - 1);
  output.bit_count = static_cast<uint32_t>(raw.count);
}

}  // namespace tkmjpg
