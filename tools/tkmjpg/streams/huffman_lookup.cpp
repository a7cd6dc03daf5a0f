#include "tools/tkmjpg/streams/huffman_lookup.h"

namespace tkmjpg::tool {

// ITU T.81 C.2: codes of a length follow each other, the next length goes on with twice the code.
std::optional<HuffmanLookup> HuffmanLookup::Make(std::span<const uint8_t> table) {
  constexpr size_t kHead = 17;
  if (table.size() <= kHead) return std::nullopt;
  HuffmanLookup lookup;
  lookup.values_.assign(table.begin() + kHead, table.end());
  uint32_t code = 0;
  size_t index = 0;
  for (uint32_t length = 1; length <= 16; ++length, code <<= 1) {
    const uint32_t count = table[length];
    if (code + count > 1U << length || index + count > lookup.values_.size()) return std::nullopt;
    lookup.lengths_[length] = {(code + count) << (16 - length), code, index};
    for (uint32_t i = 0; i < count && length <= 8; ++i) {
      lookup.FillShort(code + i, length, lookup.values_[index + i]);
    }
    code += count;
    index += count;
  }
  return lookup;
}

void HuffmanLookup::FillShort(uint32_t code, uint32_t length, uint8_t value) {
  const uint32_t free_bits = 8 - length;
  for (uint32_t i = code << free_bits; i < (code + 1) << free_bits; ++i) {
    short_[i] = {static_cast<uint8_t>(length), value};
  }
}

HuffmanSymbol HuffmanLookup::FindLong(uint16_t window) const {
  for (uint32_t length = 9; length <= 16; ++length) {
    const Length& codes = lengths_[length];
    if (window >= codes.end) continue;
    const uint32_t code = static_cast<uint32_t>(window) >> (16 - length);
    return {static_cast<uint8_t>(length), values_[codes.index + (code - codes.first)]};
  }
  return {};
}

}  // namespace tkmjpg::tool
