// The Huffman tables of one component as a reader wants them that only follows the codes: one
// look-up takes as many symbols as its bits hold.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "tools/tkmjpg/streams/huffman_lookup.h"

namespace tkmjpg::tool {

// ITU T.81 F.1.2 for samples of 8 bits.
inline constexpr uint32_t kMostDcBits = 11, kMostAcBits = 10;
inline constexpr uint32_t kEndOfBlock = 0x00, kSixteenZeros = 0xF0;

// Whether an image of 8-bit samples can have this AC symbol.
constexpr bool IsAcSymbol(uint32_t value) {
  const uint32_t size = value & 15;
  return size == 0 ? value == kEndOfBlock || value == kSixteenZeros : size <= kMostAcBits;
}

// ITU T.81 F.2.2.1: the lower half of what `size` bits can say is negative.
constexpr int32_t ExtendAmplitude(uint32_t bits, uint32_t size) {
  const auto value = static_cast<int32_t>(bits);
  return size == 0 || bits >> (size - 1) != 0 ? value : value - (1 << size) + 1;
}

// What the next bits hold of AC symbols: 0 to 5 how many bits they take, 6 whether the last one
// ends the block, from 7 on how many positions they cover. A string that begins with no whole
// symbol covers more than a block has.
class AcRun {
 public:
  static constexpr uint32_t kNothing = 127;

  constexpr AcRun() = default;
  constexpr AcRun(uint32_t bits, bool end, uint32_t covered)
      : word_(static_cast<uint16_t>(bits | (end ? 1U << 6 : 0) | covered << 7)) {}
  constexpr uint32_t Bits() const { return word_ & 63; }
  constexpr bool Ends() const { return (word_ & 1U << 6) != 0; }
  constexpr uint32_t Covered() const { return word_ >> 7; }

 private:
  uint16_t word_ = kNothing << 7;
};

// A whole DC difference and the bits that it takes: 0 bits if the string does not hold it.
struct DcRun {
  uint16_t bits = 0;
  int16_t difference = 0;
};

struct ScanTables {
  static constexpr uint32_t kAcIndexBits = 12, kDcIndexBits = 10;

  HuffmanLookup dc, ac;
  std::array<DcRun, 1 << kDcIndexBits> dc_runs;
  std::array<AcRun, 1 << kAcIndexBits> ac_runs;
};

// Tables as DHT stores them; null if they are none. The standard ones are made once.
std::shared_ptr<const ScanTables> MakeScanTables(std::span<const uint8_t> dc,
                                                 std::span<const uint8_t> ac);

}  // namespace tkmjpg::tool
