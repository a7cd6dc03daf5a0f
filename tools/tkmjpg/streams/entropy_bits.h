// Bits of entropy-coded data (ITU T.81 F.1.2.3) up to a marker; after that, zeros.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

namespace tkmjpg::tool {

class EntropyBits {
 public:
  EntropyBits() = default;
  explicit EntropyBits(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // At least 56 bits are there for Peek and Skip.
  void Refill() {
    if (bytes_.size() - at_ >= 8) [[likely]] {
      uint64_t word;
      std::memcpy(&word, &bytes_[at_], sizeof word);
      if (!HasByteFf(word)) [[likely]] {
        if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
        // What is loaded beyond the counted bits is the same at the next refill.
        bits_ |= word >> count_;
        at_ += (63 - count_) >> 3;
        count_ |= 56;
        return;
      }
    }
    *this = RefilledByBytes(*this);  // by value, so that a reader can stay in registers
  }

  uint32_t Peek(uint32_t count) const { return static_cast<uint32_t>(bits_ >> (64 - count)); }
  // `count` within [0, 56] and, since the last refill, not more in all.
  void Skip(uint32_t count) {
    bits_ <<= count;
    count_ -= count;
  }

  bool Exhausted() const { return count_ < padding_; }  // zeros after the end were taken
  // Bits between here and the marker, as far as they are loaded.
  uint32_t Left() const { return Exhausted() ? 0 : count_ - padding_; }
  bool AtEnd() const { return padding_ != 0 || at_ == bytes_.size(); }
  // The byte that the next bit is in, stuffed bytes aside.
  size_t Position() const { return at_ - Left() / 8; }

  // The marker's code where the data ends; 0 if they end without one.
  uint8_t Marker() const;
  // Goes past that marker.
  void PassMarker();

 private:
  static bool HasByteFf(uint64_t word) {
    constexpr uint64_t kLow = ~uint64_t{0} / 255, kHigh = kLow << 7;
    return ((~word - kLow) & word & kHigh) != 0;
  }
  static EntropyBits RefilledByBytes(EntropyBits bits);
  void RefillByBytes();
  size_t MarkerCode() const;

  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
  uint64_t bits_ = 0;     // from the highest bit on
  uint32_t count_ = 0;    // of them, [0, 63]
  uint32_t padding_ = 0;  // of these, zeros after the end
};

}  // namespace tkmjpg::tool
