// Planar and other YUV frames to the packed layout that the codec takes.
#pragma once

#include <gst/video/video.h>

#include <cstdint>

namespace tkmjpg::gst {

// Where black and white move to: from 16..235 to 0..255, or back.
enum class RangeChange { kNone, kExpand, kNarrow };

// Writes `frame`, of 8-bit YUV, as lines of YUY2 pairs: (width + 1) / 2 x 4 bytes each. An odd
// width repeats its last luma sample. 4:2:0 chroma is repeated, within its field if interlaced.
void PackYuy2(const GstVideoFrame& frame, RangeChange change, uint8_t* out);

}  // namespace tkmjpg::gst
