// The shape of an image: sampling factors and the choice of tables, and how far they are other than
// the one shape that the decoder takes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

// Of the components' sampling factors as SOF has them: "4:2:2" of any size of an MCU, "4:2:0" and
// so on, or the factors themselves.
std::string SamplingName(std::span<const uint8_t> factors);

// Fills in other_shape and refusal, once all headers are read.
void SettleShape(std::span<const uint8_t> frame, ImageAnalysis& image);

}  // namespace tkmjpg::tool
