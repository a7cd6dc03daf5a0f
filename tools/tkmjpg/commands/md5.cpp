#include "tools/tkmjpg/commands/md5.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace tkmjpg::tool {
namespace {

constexpr std::array<std::array<int, 4>, 4> kShifts = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

// The RFC's table T: the first 32 bits after the point of |sin(i + 1)|.
const std::array<uint32_t, 64>& Sines() {
  static const auto kSines = [] {
    std::array<uint32_t, 64> table{};
    for (int i = 0; i < 64; ++i) {
      table[i] = static_cast<uint32_t>(std::floor(std::abs(std::sin(i + 1.0)) * 4294967296.0));
    }
    return table;
  }();
  return kSines;
}

uint32_t Word(const uint8_t* p) {
  return static_cast<uint32_t>(p[0] | p[1] << 8 | p[2] << 16) | static_cast<uint32_t>(p[3]) << 24;
}

}  // namespace

void Md5::AddBlock(const uint8_t* block) {
  const std::array<uint32_t, 64>& sines = Sines();
  auto [a, b, c, d] = state_;
  for (int i = 0; i < 64; ++i) {
    uint32_t mix = 0;
    int word = 0;
    switch (i / 16) {
      case 0:
        mix = (b & c) | (~b & d), word = i;
        break;
      case 1:
        mix = (d & b) | (~d & c), word = (5 * i + 1) % 16;
        break;
      case 2:
        mix = b ^ c ^ d, word = (3 * i + 5) % 16;
        break;
      default:
        mix = c ^ (b | ~d), word = 7 * i % 16;
        break;
    }
    const uint32_t sum = a + mix + sines[i] + Word(block + 4 * word);
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, kShifts[i / 16][i % 4]);
  }
  state_[0] += a;
  state_[1] += b;
  state_[2] += c;
  state_[3] += d;
}

void Md5::Add(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const size_t used = size_ % 64;
    if (used == 0 && bytes.size() >= 64) {
      AddBlock(bytes.data());
      bytes = bytes.subspan(64);
      size_ += 64;
      continue;
    }
    const size_t n = std::min(bytes.size(), 64 - used);
    std::memcpy(&waiting_[used], bytes.data(), n);
    bytes = bytes.subspan(n);
    size_ += n;
    if (size_ % 64 == 0) AddBlock(waiting_.data());
  }
}

std::string Md5::Finish() {
  const uint64_t bits = size_ * 8;
  constexpr std::array<uint8_t, 64> kPadding = {0x80};
  Add(std::span(kPadding).first(1 + (119 - size_ % 64) % 64));
  std::array<uint8_t, 8> length{};
  for (int i = 0; i < 8; ++i) length[i] = static_cast<uint8_t>(bits >> 8 * i);
  Add(length);
  std::string digits;
  for (const uint32_t word : state_) {
    for (int i = 0; i < 4; ++i) {
      const uint32_t byte = word >> 8 * i & 0xFF;
      digits += "0123456789abcdef"[byte >> 4];
      digits += "0123456789abcdef"[byte & 15];
    }
  }
  return digits;
}

}  // namespace tkmjpg::tool
