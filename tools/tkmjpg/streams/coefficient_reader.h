// The quantised coefficients of a 4:2:2 image, however it is coded: Huffman tables of any kind, any
// size of an MCU, progressive scans, arithmetic codes. Safe on any bytes; what is missing of a
// damaged image is zero, which is grey.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "tools/tkmjpg/streams/jpeg_library.h"
#include "tools/tkmjpg/streams/stream_analysis.h"
#include "tools/tkmjpg/streams/whole_image.h"

namespace tkmjpg::tool {

// 16 by 8 pixels: left Y, right Y, Cb, Cr; zig-zag order.
using McuBlocks = std::array<std::array<int16_t, 64>, 4>;

class CoefficientReader {
 public:
  // `image` is 4:2:2 and not refused; `frame` is what its offsets count from. Reads all of it.
  CoefficientReader(std::span<const uint8_t> frame, const ImageAnalysis& image);

  size_t Columns() const { return columns_; }
  size_t Rows() const { return rows_; }

  // MCUs of 16 by 8 pixels of a row within [0, Rows()); `mcus` are Columns().
  void ReadRow(size_t row, std::span<McuBlocks> mcus);

  // Why there are no coefficients; empty if there are.
  std::string Refusal() const { return library_.Refusal(); }
  // The first damage that was found, and at which byte of the frame; empty if there is none.
  const std::string& Damage() const {
    return library_.Damage().empty() ? range_damage_ : library_.Damage();
  }

 private:
  void ReadBlocks(size_t component, size_t row, std::span<McuBlocks> mcus);

  WholeImage whole_;
  JpegLibrary library_;
  jvirt_barray_ptr* arrays_ = nullptr;
  size_t columns_, rows_;
  std::string range_damage_;
};

}  // namespace tkmjpg::tool
