#include "tools/tkmjpg/streams/entropy_bits.h"

#include <algorithm>

namespace tkmjpg::tool {

EntropyBits EntropyBits::RefilledByBytes(EntropyBits bits) {
  bits.RefillByBytes();
  return bits;
}

void EntropyBits::RefillByBytes() {
  if (count_ < 56) bits_ &= ~(~uint64_t{0} >> count_);
  while (count_ < 56) {
    uint64_t byte = 0;
    if (at_ < bytes_.size() && bytes_[at_] != 0xFF) {
      byte = bytes_[at_++];
    } else if (at_ + 1 < bytes_.size() && bytes_[at_ + 1] == 0x00) {
      byte = 0xFF;
      at_ += 2;
    } else {
      padding_ += 8;
    }
    bits_ |= byte << (56 - count_);
    count_ += 8;
  }
}

// Fill may stand before it (ITU T.81 B.1.1.2).
size_t EntropyBits::MarkerCode() const {
  size_t at = at_;
  while (at < bytes_.size() && bytes_[at] == 0xFF) ++at;
  return at;
}

uint8_t EntropyBits::Marker() const {
  const size_t at = MarkerCode();
  return at == at_ || at == bytes_.size() ? 0 : bytes_[at];
}

void EntropyBits::PassMarker() {
  at_ = std::min(MarkerCode() + 1, bytes_.size());
  bits_ = 0;
  count_ = padding_ = 0;
}

}  // namespace tkmjpg::tool
