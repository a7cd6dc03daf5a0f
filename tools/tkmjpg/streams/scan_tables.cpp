#include "tools/tkmjpg/streams/scan_tables.h"

#include <algorithm>

#include "frame/marker_segments.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

DcRun ReadDc(const HuffmanLookup& table, uint32_t string) {
  constexpr uint32_t kBits = ScanTables::kDcIndexBits;
  const HuffmanSymbol symbol = table.Find(static_cast<uint16_t>(string << (16 - kBits)));
  const uint32_t size = symbol.value, bits = symbol.length + size;
  if (symbol.length == 0 || size > kMostDcBits || bits > kBits) return {};
  const uint32_t amplitude = string >> (kBits - bits) & ((1U << size) - 1);
  return {static_cast<uint16_t>(bits), static_cast<int16_t>(ExtendAmplitude(amplitude, size))};
}

// `symbols` are those that begin each string of kAcIndexBits bits; length 0 where it is not whole.
AcRun ReadAc(std::span<const HuffmanSymbol> symbols, uint32_t string) {
  constexpr uint32_t kBits = ScanTables::kAcIndexBits, kMask = (1U << kBits) - 1;
  uint32_t bits = 0, covered = 0;
  for (;;) {
    const HuffmanSymbol symbol = symbols[string << bits & kMask];
    const uint32_t taken = symbol.length + (symbol.value & 15U);
    const bool whole = symbol.length != 0 && bits + taken <= kBits;
    if (!whole) return bits == 0 ? AcRun() : AcRun(bits, false, covered);
    bits += taken;
    if (symbol.value == kEndOfBlock) return {bits, true, covered};
    covered += (symbol.value >> 4) + 1U;
    if (covered > 63) return {};  // longer than any block: let it be looked at symbol by symbol
  }
}

std::shared_ptr<const ScanTables> Make(Bytes dc, Bytes ac) {
  const auto dc_lookup = HuffmanLookup::Make(dc), ac_lookup = HuffmanLookup::Make(ac);
  if (!dc_lookup || !ac_lookup) return nullptr;
  auto tables = std::make_shared<ScanTables>(ScanTables{*dc_lookup, *ac_lookup, {}, {}});
  for (uint32_t i = 0; i < tables->dc_runs.size(); ++i) {
    tables->dc_runs[i] = ReadDc(tables->dc, i);
  }
  constexpr uint32_t kBits = ScanTables::kAcIndexBits;
  std::array<HuffmanSymbol, 1 << kBits> symbols;
  for (uint32_t i = 0; i < symbols.size(); ++i) {
    symbols[i] = tables->ac.Find(static_cast<uint16_t>(i << (16 - kBits)));
    if (symbols[i].length > kBits || !IsAcSymbol(symbols[i].value)) symbols[i].length = 0;
  }
  for (uint32_t i = 0; i < symbols.size(); ++i) tables->ac_runs[i] = ReadAc(symbols, i);
  return tables;
}

// Annex K has DC and AC tables of luma, then those of chroma.
std::shared_ptr<const ScanTables> MakeStandard(size_t chroma) {
  return Make(kStandardHuffmanTables[2 * chroma], kStandardHuffmanTables[2 * chroma + 1]);
}

bool SameCodes(Bytes a, Bytes b) { return std::ranges::equal(a.subspan(1), b.subspan(1)); }

}  // namespace

std::shared_ptr<const ScanTables> MakeScanTables(Bytes dc, Bytes ac) {
  static const std::array<std::shared_ptr<const ScanTables>, 2> kStandard = {MakeStandard(0),
                                                                             MakeStandard(1)};
  if (dc.size() <= 1 || ac.size() <= 1) return nullptr;
  for (size_t chroma = 0; chroma < 2; ++chroma) {
    if (SameCodes(dc, kStandardHuffmanTables[2 * chroma]) &&
        SameCodes(ac, kStandardHuffmanTables[2 * chroma + 1])) {
      return kStandard[chroma];
    }
  }
  return Make(dc, ac);
}

}  // namespace tkmjpg::tool
