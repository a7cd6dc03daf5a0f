// A strict reader of the entropy-coded data of one baseline image: whether an encoder can have
// written it. It knows nothing of the decoder, and takes any sampling, Huffman tables and restart
// interval. Safe on any bytes, and done after a time in proportion to them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct McuRows {
  size_t first = 0, end = 0;
  bool operator==(const McuRows&) const = default;
};

struct ScanFault {
  std::string what;   // "invalid code at byte 4711"
  size_t offset = 0;  // of that byte in the frame
  size_t row = 0;     // of MCUs, in which it shows
};

struct ScanCheck {
  bool readable = false;             // whether this reader knows the image's kind
  size_t rows = 0;                   // of MCUs
  size_t row_lines = 8;              // that one of them has
  std::optional<ScanFault> damage;   // the first: no encoder writes this
  std::optional<ScanFault> suspect;  // the first block whose mean is far beyond black or white
  // The rows that cannot be trusted, from the first fault on to where reading begins again.
  std::vector<McuRows> gone;
};

// `frame` is what the offsets of `image` count from.
ScanCheck CheckScan(std::span<const uint8_t> frame, const ImageAnalysis& image);

// The same for an image that is known to be damaged, with `gone` from where the picture breaks: a
// wrong bit shows in the codes long after it has moved everything that follows.
ScanCheck LocateDamage(std::span<const uint8_t> frame, const ImageAnalysis& image);

}  // namespace tkmjpg::tool
