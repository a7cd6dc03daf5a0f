#include "tools/tkmjpg/streams/coefficient_reader.h"

#include <algorithm>
#include <cstring>

#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/huffman_tables.h"

namespace tkmjpg::tool {
namespace {

constexpr uint32_t kMostDcBits = 11, kMostAcBits = 10;  // ITU T.81 F.1.2, 8-bit samples
constexpr int kLowestDc = -1024, kHighestDc = 1023;     // so that any difference has 11 bits

// ITU T.81 F.2.2.1: the lower half of what `count` bits can say is negative.
int Extend(uint32_t bits, uint32_t count) {
  const int value = static_cast<int>(bits);
  return value < 1 << (count - 1) ? value - (1 << count) + 1 : value;
}

}  // namespace

void ScanBits::Refill() {
  while (count_ <= 32) {
    uint64_t byte = 0;
    if (at_ < bytes_.size() && bytes_[at_] != 0xFF) {
      byte = bytes_[at_++];
    } else if (at_ + 1 < bytes_.size() && bytes_[at_ + 1] == 0x00) {
      byte = 0xFF;
      at_ += 2;
    } else if (at_ + 1 < bytes_.size() && bytes_[at_ + 1] == 0xFF) {
      ++at_;
      continue;
    } else {
      padding_ += 8;
    }
    bits_ |= byte << (56 - count_);
    count_ += 8;
  }
}

size_t ScanBits::BytesLeft() {
  size_t bytes = 0;
  for (Refill(); count_ >= padding_ + 8; Refill()) {
    Skip(8);
    ++bytes;
  }
  return bytes;
}

bool ScanBits::NextInterval() {
  bits_ = 0;
  count_ = padding_ = 0;
  while (at_ + 1 < bytes_.size()) {
    const void* mark = std::memchr(&bytes_[at_], 0xFF, bytes_.size() - at_ - 1);
    if (mark == nullptr) break;
    at_ = static_cast<size_t>(static_cast<const uint8_t*>(mark) - bytes_.data()) + 1;
    if (bytes_[at_] >= kRst0 && bytes_[at_] < kRst0 + 8) {
      ++at_;
      return true;
    }
  }
  at_ = bytes_.size();
  return false;
}

CoefficientReader::CoefficientReader(std::span<const uint8_t> frame, const ImageAnalysis& image)
    : shape_(image.shape),
      bits_(frame.subspan(image.scan_begin, image.data_end - image.scan_begin)),
      scan_begin_(image.scan_begin),
      columns_((static_cast<size_t>(image.width) + 15) / 16),
      source_columns_((static_cast<size_t>(image.width) + 8 * shape_[0].h - 1) / (8 * shape_[0].h)),
      band_rows_(shape_[0].v),
      interval_(static_cast<uint32_t>(image.restart_interval.value_or(0))),
      to_go_(interval_) {
  for (size_t c = 0; c < 3; ++c) {
    const ComponentTables tables = TablesOfComponent(frame, image, c);
    tables_.push_back({*HuffmanLookup::Make(tables.dc), *HuffmanLookup::Make(tables.ac)});
  }
}

void CoefficientReader::ReadBand(std::vector<McuBlocks>& band) {
  band.assign(band_rows_ * columns_, McuBlocks{});
  for (size_t mcu = 0; mcu < source_columns_; ++mcu) {
    StartMcu();
    if (!broken_ && !ReadMcu(band, mcu)) Break();
  }
}

void CoefficientReader::StartMcu() {
  if (interval_ == 0 || to_go_-- != 0) return;
  to_go_ = interval_ - 1;
  last_dc_ = {};
  broken_ = !bits_.NextInterval();
  if (broken_) Break();
}

void CoefficientReader::Break() {
  broken_ = true;
  Note("damaged entropy-coded data");
}

void CoefficientReader::Note(const std::string& damage) {
  if (!damage_.empty()) return;
  damage_ = damage + " at byte " + std::to_string(scan_begin_ + bits_.Position());
}

void CoefficientReader::Finish() {
  constexpr size_t kPadding = 3;  // of a writer that ends on whole words
  if (broken_) return;
  const size_t left = bits_.BytesLeft();
  if (left > kPadding) Note(std::to_string(left) + " bytes of entropy-coded data left over");
}

bool CoefficientReader::ReadMcu(std::vector<McuBlocks>& band, size_t mcu) {
  std::array<int16_t, 64> outside;
  for (size_t c = 0; c < 3; ++c) {
    const size_t h = shape_[c].h, per_mcu = c == 0 ? 2 : 1;  // of the MCUs that are wanted
    for (size_t row = 0; row < band_rows_; ++row) {
      for (size_t x = mcu * h; x < (mcu + 1) * h; ++x) {
        const bool inside = x / per_mcu < columns_;
        auto& block = inside ? band[row * columns_ + x / per_mcu][c == 0 ? x % 2 : c + 1] : outside;
        if (ReadBlock(block, c)) continue;
        block.fill(0);
        return false;
      }
    }
  }
  return true;
}

bool CoefficientReader::ReadBlock(std::array<int16_t, 64>& block, size_t component) {
  return ReadDc(block[0], component) && ReadAc(block, tables_[component].ac) && !bits_.Exhausted();
}

bool CoefficientReader::ReadDc(int16_t& value, size_t component) {
  bits_.Refill();
  const HuffmanSymbol symbol = tables_[component].dc.Find(bits_.Peek());
  if (symbol.length == 0 || symbol.value > kMostDcBits) return false;
  bits_.Skip(symbol.length);
  int& last = last_dc_[component];
  if (symbol.value != 0) last += Extend(bits_.Take(symbol.value), symbol.value);
  value = static_cast<int16_t>(last);
  return last >= kLowestDc && last <= kHighestDc;
}

bool CoefficientReader::ReadAc(std::array<int16_t, 64>& block, const HuffmanLookup& table) {
  for (size_t k = 1; k < 64; ++k) {
    bits_.Refill();
    const HuffmanSymbol symbol = table.Find(bits_.Peek());
    const uint32_t size = symbol.value & 15;
    if (symbol.length == 0 || size > kMostAcBits) return false;
    bits_.Skip(symbol.length);
    if (symbol.value == 0) return true;
    k += symbol.value >> 4;
    if (k > 63 || (size == 0 && symbol.value != 0xF0)) return false;
    if (size != 0) block[k] = static_cast<int16_t>(Extend(bits_.Take(size), size));
  }
  return true;
}

}  // namespace tkmjpg::tool
