// The Huffman codes as the fast rows want them: one look-up resolves up to two coefficients and the
// end of the block.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/stream_format.h"

namespace tkmjpg {

// What kWindowBits bits resolve to: a first and a last coefficient, which may be the same one.
//   0-5    bits to consume; 0: nothing is resolved (then the block ends, too)
//   6-8    how many of the last consumed bits are to be added to the last coefficient
//   9-12   zeros before the first coefficient
//   13-16  positions from the next one to that of the last coefficient
//   17     the block ends after it
//   18-23  first coefficient
//   24-31  last coefficient, without the bits to add
class SymbolEntry {
 public:
  constexpr SymbolEntry() = default;
  constexpr SymbolEntry(uint32_t bits, uint32_t added_bits, uint32_t run, uint32_t last, bool end,
                        int first_value, int last_value)
      : word_(bits | added_bits << 6 | run << 9 | last << 13 | (end ? 1U << 17 : 0) |
              (static_cast<uint32_t>(first_value) & 0x3F) << 18 |
              static_cast<uint32_t>(last_value) << 24) {}
  constexpr bool Resolves() const { return (word_ & 63) != 0; }
  // The bits to consume, to be taken modulo 64: as it is for a shift.
  constexpr uint32_t BitsModulo64() const { return word_; }
  constexpr uint32_t AddedBits() const { return word_ >> 6 & 7; }
  constexpr uint32_t Run() const { return word_ >> 9 & 15; }
  constexpr uint32_t Last() const { return word_ >> 13 & 15; }
  constexpr bool Ends() const { return (word_ >> 17 & 1) != 0; }
  constexpr int32_t FirstValue() const { return static_cast<int32_t>(word_ << 8) >> 26; }
  constexpr int32_t LastValue() const { return static_cast<int32_t>(word_) >> 24; }

 private:
  uint32_t word_ = 1U << 17;
};

inline constexpr int kWindowBits = 11;
using SymbolTable = std::array<SymbolEntry, 1 << kWindowBits>;
// By luma, chroma. A DC table's first coefficient is the difference; AC ones may follow it.
#pragma GCC visibility push(hidden)
extern const std::array<SymbolTable, 2> kDcSymbols, kAcSymbols;
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
  // Look-ups that one refill is enough for: each takes at most 17 bits, a code of ten and an
  // amplitude of seven.
  static constexpr int kLookUps = (kWordBits - 8) / 17;

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
