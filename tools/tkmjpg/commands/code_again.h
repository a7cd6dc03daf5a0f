// Frames that cannot take this codec's shape without loss, decoded and encoded.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct CodedAgain {
  Bytes stream;
  std::string damage;   // of what was decoded
  std::string refusal;  // why there is no stream; empty if there is
};

// Each image at the quality whose quantisation tables come nearest to its own. Application headers,
// comments and alpha are kept. The Huffman tables are left out.
CodedAgain CodeAgain(std::span<const uint8_t> frame);

// Why `coded` does not show what `original` shows; empty if its luma is as near as quantisation
// allows.
std::string CompareCodedAgain(std::span<const uint8_t> original, std::span<const uint8_t> coded);

}  // namespace tkmjpg::tool
