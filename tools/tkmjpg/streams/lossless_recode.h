// 4:2:2 frames of other writers as this codec writes them: MCUs of 16 by 8 pixels, the Huffman
// tables of ITU T.81 Annex K, quantisation tables 0 and 1. The coefficients are the same to the
// last one, and so is the picture.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct RecodedFrame {
  std::vector<uint8_t> stream;
  std::string damage;   // empty if the entropy-coded data is undamaged
  std::string refusal;  // why the coefficients could not be read; empty if they could
};

// `analysis` is that of `frame`, and NeedsRecoding(). Up to two images and the alpha segment are
// kept, an image that is refused as it is. A JFIF header is kept; other images get a long AVI1
// segment with their field code.
RecodedFrame RecodeFrame(std::span<const uint8_t> frame, const FrameAnalysis& analysis);

}  // namespace tkmjpg::tool
