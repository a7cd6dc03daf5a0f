#include "tools/tkmjpg/streams/image_shape.h"

#include <algorithm>

#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/huffman_tables.h"

namespace tkmjpg::tool {
namespace {

// Chroma of half the width and the full height, in whatever size of an MCU: 2x1 1x1 1x1, 2x2 1x2
// 1x2 and so on, up to the ten blocks of ITU T.81 B.2.3.
bool IsFourTwoTwo(std::span<const uint8_t> factors) {
  if (factors.size() != 3 || factors[1] != factors[2]) return false;
  const int h = factors[1] >> 4, v = factors[1] & 15;
  return factors[0] == (2 * h << 4 | v) && h >= 1 && h <= 2 && v >= 1 && 4 * h * v <= 10;
}

// Luma samples for each one of chroma, across and down.
const char* NameOfRatio(std::span<const uint8_t> factors) {
  constexpr struct {
    int across, down;
    const char* name;
  } kRatios[] = {
      {1, 1, "4:4:4"}, {2, 2, "4:2:0"}, {1, 2, "4:4:0"}, {4, 1, "4:1:1"}, {4, 2, "4:1:0"}};
  if (factors.size() != 3 || factors[1] != factors[2]) return nullptr;
  const int h = factors[1] >> 4, v = factors[1] & 15;
  for (const auto& ratio : kRatios) {
    if (h > 0 && v > 0 && factors[0] == (ratio.across * h << 4 | ratio.down * v)) return ratio.name;
  }
  return nullptr;
}

void Differs(ImageAnalysis& image, const std::string& what) {
  if (!image.other_shape.empty()) image.other_shape += ", ";
  image.other_shape += what;
}

void SettleSampling(ImageAnalysis& image) {
  if (image.shape[0].h == 2 && image.shape[0].v == 1) return;
  std::string factors;
  for (const ComponentShape& c : image.shape) {
    factors += ' ' + std::to_string(c.h) + "x" + std::to_string(c.v);
  }
  Differs(image, "sampling" + factors);
}

void SettleHuffmanTables(std::span<const uint8_t> frame, ImageAnalysis& image) {
  bool standard = true, own = false;
  for (size_t c = 0; c < 3; ++c) {
    const ComponentTables tables = TablesOfComponent(frame, image, c);
    if (tables.standard) continue;
    standard = false;
    own = own || !tables.inherited;
  }
  if (!standard) Differs(image, own ? "Huffman tables of its own" : "Huffman tables of image 1");
}

const char* NameOfProcess(const ImageAnalysis& image) {
  switch (image.sof) {
    case kSof0:
      return "several scans";
    case 0xC1:
      return "extended sequential codes";
    case 0xC2:
      return "progressive scans";
    default:
      return "arithmetic codes";
  }
}

// Numbers whose tables are not there are no difference, as long as nothing else is one.
void SettleQuantTables(ImageAnalysis& image) {
  const auto& [y, cb, cr] = image.shape;
  if (std::max({y.quant_table, cb.quant_table, cr.quant_table}) > 3) {
    image.refusal = "numbers of quantisation tables above 3";
    return;
  }
  if (!image.HasItsQuantTables()) {
    if (!image.other_shape.empty() || !image.loss.empty()) {
      image.refusal = "quantisation tables are missing";
    }
    return;
  }
  if (!image.loss.empty()) return;
  if (image.QuantStepsOf(1) != image.QuantStepsOf(2)) {
    image.loss = "image with a quantisation table of its own for Cr";
  }
  if (y.quant_table == 0 && cb.quant_table == 1 && cr.quant_table == 1) return;
  Differs(image, "quantisation tables " + std::to_string(y.quant_table) + " " +
                     std::to_string(cb.quant_table) + " " + std::to_string(cr.quant_table));
}

}  // namespace

std::string SamplingName(std::span<const uint8_t> factors) {
  if (IsFourTwoTwo(factors)) return "4:2:2";
  if (factors.size() == 1) return "greyscale";
  if (const char* name = NameOfRatio(factors); name != nullptr) return name;
  std::string name;
  for (const uint8_t factor : factors) {
    if (!name.empty()) name += ' ';
    name += std::to_string(factor >> 4) + "x" + std::to_string(factor & 15);
  }
  return name;
}

void SettleShape(std::span<const uint8_t> frame, ImageAnalysis& image) {
  if (image.sof == 0 || image.precision != 8 || image.scan_begin == 0) return;
  if (image.components != 1 && image.components != 3) return;
  if (image.rgb) image.loss = "RGB image";
  if (image.sampling != "4:2:2") image.loss = image.sampling + (image.rgb ? " RGB" : "") + " image";
  if (image.loss.empty()) {
    if (!image.IsBaseline()) Differs(image, NameOfProcess(image));
    SettleSampling(image);
    if (image.IsBaseline()) SettleHuffmanTables(frame, image);
    if (image.EndsRestartInterval()) Differs(image, "no restart interval after an image with one");
    if (image.tables_apart) Differs(image, "tables in an image of their own");
  }
  SettleQuantTables(image);
}

}  // namespace tkmjpg::tool
