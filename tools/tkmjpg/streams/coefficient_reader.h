// The quantised coefficients of a baseline 4:2:2 image, whatever its Huffman tables, restart
// interval and size of an MCU. Safe on any bytes: of a damaged scan it gives what comes before the
// damage, and again what follows the next restart marker; the rest is zero, which is grey.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/streams/huffman_lookup.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

// 16 by 8 pixels: left Y, right Y, Cb, Cr; zig-zag order.
using McuBlocks = std::array<std::array<int16_t, 64>, 4>;

// Bits of entropy-coded data up to a marker; after that, zeros.
class ScanBits {
 public:
  explicit ScanBits(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // At least 32 bits are there for Peek and Skip.
  void Refill();
  uint16_t Peek() const { return static_cast<uint16_t>(bits_ >> 48); }
  void Skip(uint32_t count) {
    bits_ <<= count;
    count_ -= count;
  }
  // `count` within [1, 16].
  uint32_t Take(uint32_t count) {
    const auto value = static_cast<uint32_t>(bits_ >> (64 - count));
    Skip(count);
    return value;
  }

  bool Exhausted() const { return count_ < padding_; }  // zeros after the end were taken
  size_t Position() const { return at_; }
  // Bytes between the last one that was begun and the next marker.
  size_t BytesLeft();
  // Goes past the next restart marker; false if there is none.
  bool NextInterval();

 private:
  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
  uint64_t bits_ = 0;     // from the highest bit on
  uint32_t count_ = 0;    // of them
  uint32_t padding_ = 0;  // of these, zeros after the end
};

class CoefficientReader {
 public:
  // `image` has a shape that AnalyseImage calls recodable; `frame` is what its offsets count from.
  CoefficientReader(std::span<const uint8_t> frame, const ImageAnalysis& image);

  // Rows of 8 lines that ReadBand gives at once.
  size_t BandRows() const { return band_rows_; }
  size_t Columns() const { return columns_; }

  // The next row of the image's own MCUs, as BandRows() x Columns() MCUs of 16 by 8.
  void ReadBand(std::vector<McuBlocks>& band);

  // After the last band: nothing may be left. Coefficients read with other tables than those they
  // were written with do not end where the scan does.
  void Finish();

  // The first damage that was found, and at which byte of the frame; empty if there is none.
  const std::string& Damage() const { return damage_; }

 private:
  struct Tables {
    HuffmanLookup dc, ac;
  };

  void StartMcu();
  bool ReadMcu(std::vector<McuBlocks>& band, size_t mcu);
  bool ReadBlock(std::array<int16_t, 64>& block, size_t component);
  bool ReadDc(int16_t& value, size_t component);
  bool ReadAc(std::array<int16_t, 64>& block, const HuffmanLookup& table);
  void Break();
  void Note(const std::string& damage);

  std::array<ComponentShape, 3> shape_;
  std::vector<Tables> tables_;  // by component
  ScanBits bits_;
  size_t scan_begin_;
  size_t columns_, source_columns_, band_rows_;
  uint32_t interval_, to_go_;  // MCUs to the next restart
  std::array<int, 3> last_dc_{};
  bool broken_ = false;  // nothing more before the next restart
  std::string damage_;
};

}  // namespace tkmjpg::tool
