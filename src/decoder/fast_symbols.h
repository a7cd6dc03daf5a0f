// The Huffman codes as the fast rows want them: one look-up resolves up to two coefficients and the
// end of the block.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/stream_format.h"

namespace tkmjpg {

inline constexpr int kAcBits = 12, kDcBits = 10;

// What kAcBits bits resolve to: a first and a last coefficient, which may be the same one.
//   0-5    bits to consume
//   6      the block ends after it
//   8-11   zeros before the first coefficient
//   12-17  positions covered, the last coefficient being at the last of them; kNothing when the
//          bits resolve to no coefficient: that is past the end from any position
//   18-24  first coefficient
//   25-31  last coefficient
// Where they hold a whole code but not its amplitude: bits 0 to 5 and 8 to 11 as above, for that
// coefficient, and in bits 18 to 21 the size of the amplitude, else 0.
class AcEntry {
 public:
  static constexpr uint32_t kNothing = 63;

  constexpr AcEntry() = default;
  constexpr AcEntry(uint32_t bits, bool end, uint32_t run, uint32_t covered, int first, int last)
      : word_(bits | (end ? 1U << 6 : 0) | run << 8 | covered << 12 |
              (static_cast<uint32_t>(first) & 0x7F) << 18 | static_cast<uint32_t>(last) << 25) {}
  constexpr uint32_t Bits() const { return word_ & 63; }
  constexpr uint32_t BitsModulo64() const { return word_; }  // as it is for a shift
  constexpr bool Ends() const { return (word_ & 1U << 6) != 0; }
  constexpr uint32_t Run() const { return word_ >> 8 & 15; }
  constexpr uint32_t Covered() const { return word_ >> 12 & 63; }
  constexpr uint32_t AmplitudeBits() const { return word_ >> 18 & 15; }
  constexpr int32_t First() const { return static_cast<int32_t>(word_ << 7) >> 25; }
  constexpr int32_t Last() const { return static_cast<int32_t>(word_) >> 25; }

 private:
  uint32_t word_ = 0;
};

// A DC difference and the bits to consume; 0 bits when kDcBits bits do not resolve it.
class DcEntry {
 public:
  constexpr DcEntry() = default;
  constexpr DcEntry(uint32_t bits, int difference)
      : word_(difference * 256 + static_cast<int32_t>(bits)) {}
  constexpr uint32_t BitsModulo64() const { return static_cast<uint32_t>(word_); }
  constexpr bool Resolves() const { return word_ != 0; }
  constexpr int32_t Difference() const { return word_ >> 8; }

 private:
  int32_t word_ = 0;
};

using AcTable = std::array<AcEntry, 1 << kAcBits>;
using DcTable = std::array<DcEntry, 1 << kDcBits>;
// By luma, chroma.
#pragma GCC visibility push(hidden)
extern const std::array<AcTable, 2> kAcEntries;
extern const std::array<DcTable, 2> kDcEntries;
#pragma GCC visibility pop

// Zig-zag position to word of an MCU's block.
constexpr std::array<uint8_t, 64> MakeMcuOrder() {
  std::array<uint8_t, 64> order{};
  for (int k = 0; k < 64; ++k) {
    order[k] = static_cast<uint8_t>(32 * (kZigZag[k] % 8) + kZigZag[k] / 8);
  }
  return order;
}
alignas(64) inline constexpr std::array<uint8_t, 64> kMcuOrder = MakeMcuOrder();

// Unread bits, the next one highest.
struct BitWindow {
  using Word = size_t;
  static constexpr uint32_t kWordBits = 8 * sizeof(Word);
  static constexpr int kLookUps = (kWordBits - 8) / kAcBits;  // that one refill is enough for

  Word bits;
  Word count;  // how many of them count, modulo kWordBits
  const uint8_t* next;
  bool valid = true;  // all codes so far are ones of the tables
};

// One symbol that the tables do not resolve.
struct LongSymbol {
  BitWindow window;  // after it
  int32_t value;
  uint32_t advance;  // of the position in zig-zag order
};
LongSymbol TakeLongDc(BitWindow w, bool chroma);
LongSymbol TakeLongAc(BitWindow w, uint32_t k, bool chroma);

}  // namespace tkmjpg
