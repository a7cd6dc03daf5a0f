// An image as a stream of its own, for readers that know of no image before it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct WholeImage {
  std::vector<uint8_t> stream;
  int64_t shift = 0;  // of a byte of the scans, from here to the frame
};

// With the tables and the interval that are in force, those of the image before and the standard
// ones included, and an end. Application and comment segments are left out.
WholeImage MakeWholeImage(std::span<const uint8_t> frame, const ImageAnalysis& image);

}  // namespace tkmjpg::tool
