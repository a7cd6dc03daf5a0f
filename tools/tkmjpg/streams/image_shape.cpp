#include "tools/tkmjpg/streams/image_shape.h"

#include <algorithm>

#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/huffman_lookup.h"
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
  bool standard = true, own = false, usable = true;
  for (size_t c = 0; c < 3; ++c) {
    const ComponentTables tables = TablesOfComponent(frame, image, c);
    if (tables.standard) continue;
    standard = false;
    own = own || !tables.inherited;
    usable = usable && HuffmanLookup::Make(tables.dc) && HuffmanLookup::Make(tables.ac);
  }
  if (!standard) Differs(image, own ? "Huffman tables of its own" : "Huffman tables of image 1");
  if (!usable) image.refusal = "Huffman tables that are none";
}

// Numbers whose tables are not there are no difference, as long as nothing else is one.
void SettleQuantTables(ImageAnalysis& image) {
  const auto& [y, cb, cr] = image.shape;
  if (std::max({y.quant_table, cb.quant_table, cr.quant_table}) > 3) {
    image.refusal = "numbers of quantisation tables above 3";
    return;
  }
  if (!image.HasItsQuantTables()) {
    if (!image.other_shape.empty()) image.refusal = "quantisation tables are missing";
    return;
  }
  if (image.QuantStepsOf(1) != image.QuantStepsOf(2)) {
    image.refusal = "Cr has a quantisation table of its own; only one for Cb and Cr can be decoded";
  }
  if (y.quant_table == 0 && cb.quant_table == 1 && cr.quant_table == 1) return;
  Differs(image, "quantisation tables " + std::to_string(y.quant_table) + " " +
                     std::to_string(cb.quant_table) + " " + std::to_string(cr.quant_table));
}

}  // namespace

std::string SamplingName(std::span<const uint8_t> factors) {
  if (IsFourTwoTwo(factors)) return "4:2:2";
  if (factors.size() == 1) return "greyscale";
  if (factors.size() == 3 && factors[1] == 0x11 && factors[2] == 0x11) {
    if (factors[0] == 0x11) return "4:4:4";
    if (factors[0] == 0x22) return "4:2:0";
    if (factors[0] == 0x12) return "4:4:0";
    if (factors[0] == 0x41) return "4:1:1";
  }
  std::string name;
  for (const uint8_t factor : factors) {
    if (!name.empty()) name += ' ';
    name += std::to_string(factor >> 4) + "x" + std::to_string(factor & 15);
  }
  return name;
}

void SettleShape(std::span<const uint8_t> frame, ImageAnalysis& image) {
  if (image.sof != kSof0 || image.precision != 8 || image.sampling != "4:2:2") return;
  if (image.scan_begin == 0) return;
  SettleSampling(image);
  SettleHuffmanTables(frame, image);
  if (image.EndsRestartInterval()) Differs(image, "no restart interval after an image with one");
  if (image.tables_apart) Differs(image, "tables in an image of their own");
  SettleQuantTables(image);
}

}  // namespace tkmjpg::tool
