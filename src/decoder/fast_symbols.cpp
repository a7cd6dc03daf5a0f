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
  uint8_t length = 0;  // 0: no code of up to kWindowBits bits
  uint8_t value = 0;
};
using CodeTable = std::array<Code, 1 << kWindowBits>;

template <int N>
constexpr CodeTable MakeCodes(const HuffmanSpec<N>& huffman) {
  CodeTable table{};
  ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t value) {
    if (length > uint32_t{kWindowBits}) return;
    const uint32_t span = 1U << (kWindowBits - length);
    for (uint32_t i = 0; i < span; ++i) {
      table[code * span + i] = {static_cast<uint8_t>(length), value};
    }
  });
  return table;
}

// One symbol at the start of `string`, of whose bits the first `known` count.
struct Symbol {
  bool resolved = false;  // the sign, too, is known
  uint32_t bits = 0;
  uint32_t unknown_bits = 0;  // of its amplitude
  uint32_t size = 0, run = 0;
  int value = 0;  // with zeros in place of unknown bits
  bool end = false;
};

constexpr Symbol ReadSymbol(const CodeTable& codes, uint32_t string, uint32_t known, bool ac) {
  constexpr uint32_t kMostAdded = 7;
  const Code code = codes[string];
  Symbol symbol;
  symbol.size = code.value & 15;
  symbol.bits = code.length + symbol.size;
  if (code.length == 0 || code.length + (symbol.size != 0 ? 1U : 0U) > known) return symbol;
  symbol.unknown_bits = symbol.bits > known ? symbol.bits - known : 0;
  if (symbol.unknown_bits != 0 && symbol.size > kMostAdded) return symbol;
  symbol.resolved = true;
  symbol.run = code.value >> 4;
  symbol.end = ac && code.value == 0;
  if (symbol.size == 0) return symbol;
  const bool negative = (string << code.length >> (kWindowBits - 1) & 1) == 0;
  if (symbol.unknown_bits == 0) {
    const auto amplitude =
        static_cast<int>(string >> (kWindowBits - symbol.bits) & ((1U << symbol.size) - 1));
    symbol.value = amplitude - (negative ? (1 << symbol.size) - 1 : 0);
  } else {
    symbol.value = negative ? -((1 << symbol.size) - 1) : 0;
  }
  return symbol;
}

constexpr bool Fits(int value, int bits) {
  return value >= -(1 << (bits - 1)) && value < 1 << (bits - 1);
}

constexpr uint32_t AddedBits(const Symbol& symbol) {
  return symbol.unknown_bits != 0 ? symbol.size : 0;
}

// Up to two coefficients, and the end.
constexpr SymbolEntry Resolve(const CodeTable& first_codes, bool first_is_ac,
                              const CodeTable& ac_codes, uint32_t string) {
  constexpr uint32_t kMask = (1U << kWindowBits) - 1;
  const Symbol first = ReadSymbol(first_codes, string, kWindowBits, first_is_ac);
  if (!first.resolved || !Fits(first.value, 8)) return {};
  if (first.end) return {first.bits, 0, 0, 0, true, 0, 0};
  const SymbolEntry alone = {first.bits, AddedBits(first), first.run, first.run, false,
                             0,          first.value};
  if (first.unknown_bits != 0) return alone;
  const Symbol second =
      ReadSymbol(ac_codes, string << first.bits & kMask, kWindowBits - first.bits, true);
  if (!second.resolved) return alone;
  if (second.end) {
    return {first.bits + second.bits, 0, first.run, first.run, true, 0, first.value};
  }
  const uint32_t last = first.run + 1 + second.run;
  if (!Fits(first.value, 6) || last > 15 || !Fits(second.value, 8)) return alone;
  const uint32_t bits = first.bits + second.bits;
  const bool whole = second.unknown_bits == 0;
  const Symbol third =
      whole ? ReadSymbol(ac_codes, string << bits & kMask, kWindowBits - bits, true) : Symbol();
  const bool end = third.resolved && third.end;
  return {bits + (end ? third.bits : 0),
          AddedBits(second),
          first.run,
          last,
          end,
          first.value,
          second.value};
}

template <int N, int M>
constexpr SymbolTable MakeTable(const HuffmanSpec<N>& first, bool first_is_ac,
                                const HuffmanSpec<M>& ac) {
  const CodeTable first_codes = MakeCodes(first), ac_codes = MakeCodes(ac);
  SymbolTable table{};
  for (uint32_t string = 0; string < table.size(); ++string) {
    table[string] = Resolve(first_codes, first_is_ac, ac_codes, string);
  }
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
    index += Peek(w, entry.extra);
    Consume(w, entry.extra);
  }
  return kCoefficientValues[index];
}

}  // namespace

alignas(64) constexpr std::array<SymbolTable, 2> kDcSymbols = {
    MakeTable(kDcLumaSpec, false, kAcLumaSpec), MakeTable(kDcChromaSpec, false, kAcChromaSpec)};
alignas(64) constexpr std::array<SymbolTable, 2> kAcSymbols = {
    MakeTable(kAcLumaSpec, true, kAcLumaSpec), MakeTable(kAcChromaSpec, true, kAcChromaSpec)};

LongSymbol TakeLongDc(BitWindow w, bool chroma) {
  const LookupEntry entry = LookUpPlain(w, chroma ? kDcChromaLookup : kDcLumaLookup, kDcLevels);
  const int16_t value = TakeValue(w, entry);
  return {w, value, 0};
}

LongSymbol TakeLongAc(BitWindow w, uint32_t k, bool chroma) {
  const LookupEntry entry = LookUpPlain(w, chroma ? kAcChromaLookup : kAcLumaLookup, kAcLevels);
  const int16_t value = k + entry.advance > 64 ? int16_t{0} : TakeValue(w, entry);
  return {w, value, entry.advance};
}

}  // namespace tkmjpg
