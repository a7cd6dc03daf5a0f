#include "decoder/fast_symbols.h"

#include <bit>
#include <cstring>

#include "cpu/targets.h"
#include "decoder/bits_to_coefficients.h"

#define TKMJPG_LANES_INLINE TKMJPG_ALWAYS_INLINE

namespace tkmjpg {
namespace {

#include "decoder/bits_to_coefficients.inc"

struct Code {
  uint8_t length = 0;  // 0: no code of up to kAcBits bits
  uint8_t value = 0;
};
using CodeTable = std::array<Code, 1 << kAcBits>;

template <int N>
constexpr CodeTable MakeCodes(const HuffmanSpec<N>& huffman) {
  CodeTable table{};
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t value) {
    if (length > uint32_t{kAcBits}) return;
    const uint32_t span = 1U << (kAcBits - length);
    for (uint32_t i = 0; i < span; ++i) {
      table[code * span + i] = {static_cast<uint8_t>(length), value};
    }
  });
  return table;
}

// EXTEND of ITU T.81 F.2.2.1.
constexpr int Extend(uint32_t amplitude, uint32_t size) {
  const auto value = static_cast<int>(amplitude);
  return size == 0 || amplitude >> (size - 1) != 0 ? value : value - (1 << size) + 1;
}

// One symbol at the start of `string`, of whose bits the first `known` count.
struct Symbol {
  bool resolved = false;
  uint32_t bits = 0, run = 0;
  int value = 0;
  bool end = false;
};

constexpr Symbol ReadSymbol(const CodeTable& codes, uint32_t string, uint32_t known) {
  const Code code = codes[string];
  const uint32_t size = code.value & 15, bits = code.length + size;
  if (code.length == 0 || bits > known) return {};
  const uint32_t amplitude = string >> (kAcBits - bits) & ((1U << size) - 1);
  return {true, bits, uint32_t{code.value} >> 4, Extend(amplitude, size), code.value == 0};
}

constexpr AcEntry Resolve(const CodeTable& codes, uint32_t string) {
  constexpr uint32_t kMask = (1U << kAcBits) - 1;
  const Symbol first = ReadSymbol(codes, string, kAcBits);
  if (!first.resolved) {
    const Code code = codes[string];
    const uint32_t size = code.value & 15;
    return {code.length + size,     false, uint32_t{code.value} >> 4, AcEntry::kNothing,
            static_cast<int>(size), 0};
  }
  if (first.end) return {first.bits, true, 0, 1, 0, 0};
  const Symbol second = ReadSymbol(codes, string << first.bits & kMask, kAcBits - first.bits);
  if (!second.resolved || second.end) {
    return {
        first.bits + second.bits, second.end, first.run, first.run + 1, first.value, first.value};
  }
  const uint32_t bits = first.bits + second.bits;
  const Symbol third = ReadSymbol(codes, string << bits & kMask, kAcBits - bits);
  const bool end = third.resolved && third.end;
  return {bits + (end ? third.bits : 0), end,         first.run,
          first.run + second.run + 2,    first.value, second.value};
}

template <int N>
constexpr AcTable MakeAcTable(const HuffmanSpec<N>& huffman) {
  const CodeTable codes = MakeCodes(huffman);
  AcTable table{};
  for (uint32_t string = 0; string < table.size(); ++string) table[string] = Resolve(codes, string);
  return table;
}

template <int N>
constexpr DcTable MakeDcTable(const HuffmanSpec<N>& huffman) {
  DcTable table{};
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t size) {
    const uint32_t bits = length + size;
    if (bits > kDcBits) return;
    const uint32_t span = 1U << (kDcBits - bits);
    for (uint32_t amplitude = 0; amplitude < 1U << size; ++amplitude) {
      const DcEntry entry(bits, Extend(amplitude, size));
      for (uint32_t i = 0; i < span; ++i) table[(code << size | amplitude) * span + i] = entry;
    }
  });
  return table;
}

// One look-up of the plain decoder, up to 16 bits.
template <typename Lookup>
LookupEntry LookUpPlain(BitWindow& w, const Lookup& lookup,
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
  // What an invalid code ends in may lie after the data, though it consumes less.
  w.valid &= entry.length != 0;
  return entry;
}

int16_t TakeValue(BitWindow& w, const LookupEntry& entry) {
  uint32_t index = entry.value_index;
  if (entry.extra != 0) {
    Refill(w);
    index += static_cast<uint32_t>(Peek(w, entry.extra));
    Consume(w, entry.extra);
  }
  return kCoefficientValues[index];
}

}  // namespace

alignas(64) constexpr std::array<AcTable, 2> kAcEntries = {MakeAcTable(kAcLumaSpec),
                                                           MakeAcTable(kAcChromaSpec)};
alignas(64) constexpr std::array<DcTable, 2> kDcEntries = {MakeDcTable(kDcLumaSpec),
                                                           MakeDcTable(kDcChromaSpec)};

LongSymbol TakeLongDc(BitWindow w, bool chroma) {
  const LookupEntry entry = LookUpPlain(w, chroma ? kDcChromaLookup : kDcLumaLookup, kDcLevels);
  const int16_t value = TakeValue(w, entry);
  return {w, value, 0};
}

LongSymbol TakeLongAc(BitWindow w, uint32_t k, bool chroma) {
  const LookupEntry entry = LookUpPlain(w, chroma ? kAcChromaLookup : kAcLumaLookup, kAcLevels);
  const bool fits = k + entry.advance <= 64;
  w.valid &= fits || entry.advance > 16;  // a run past the end is none that ends the block
  const int16_t value = fits ? TakeValue(w, entry) : int16_t{0};
  return {w, value, entry.advance};
}

}  // namespace tkmjpg
