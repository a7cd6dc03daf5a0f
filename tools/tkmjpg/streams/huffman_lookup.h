// One Huffman table of a DHT segment, made for reading.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tkmjpg::tool {

struct HuffmanSymbol {
  uint8_t length = 0;  // of its code in bits; 0 if there is no such code
  uint8_t value = 0;
};

class HuffmanLookup {
 public:
  // `table` as DHT stores it: Tc/Th, 16 counts, values. Nothing if it has no values or more codes
  // of a length than there can be.
  static std::optional<HuffmanLookup> Make(std::span<const uint8_t> table);

  // The symbol whose code `window` begins with.
  HuffmanSymbol Find(uint16_t window) const {
    const HuffmanSymbol symbol = short_[window >> 8];
    return symbol.length != 0 ? symbol : FindLong(window);
  }

 private:
  struct Length {
    uint32_t end = 0;    // first window after its codes, [0, 65536]
    uint32_t first = 0;  // its first code
    size_t index = 0;    // of that one's value
  };

  HuffmanSymbol FindLong(uint16_t window) const;
  void FillShort(uint32_t code, uint32_t length, uint8_t value);

  std::array<HuffmanSymbol, 256> short_{};  // codes of up to 8 bits, by what they begin
  std::array<Length, 17> lengths_{};
  std::vector<uint8_t> values_;
};

}  // namespace tkmjpg::tool
