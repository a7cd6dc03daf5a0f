// Whether the header segments of an image say what an encoder can have meant.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

// The first segment before the scan that makes no sense, and why; empty if all do. `frame` is what
// the offsets of `image` count from.
std::string CheckSegments(std::span<const uint8_t> frame, const ImageAnalysis& image);

}  // namespace tkmjpg::tool
