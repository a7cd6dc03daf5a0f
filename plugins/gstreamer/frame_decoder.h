// One stream to a raw frame.
#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <span>
#include <vector>

#include "gstreamer/choices.h"
#include "gstreamer/frame_shape.h"
#include "tkmjpg.h"

namespace tkmjpg::gst {

class FrameDecoder {
 public:
  // `out` has the size that `shape` says, in a format that the codec gives.
  void Decode(std::span<const uint8_t> stream, const JpegFrame& frame, const FrameShape& shape,
              bool limited_range, FirstImage first_image, GstVideoFrame* out);

 private:
  void DecodeFields(std::span<const uint8_t> stream, const FrameShape& shape, bool damaged,
                    uint32_t flags, FirstImage first_image, GstVideoFrame* out);
  std::span<const uint8_t> Patched(std::span<const uint8_t> stream, const JpegFrame& frame,
                                   const FrameShape& shape, bool packed_yuv);

  CodecCarryState carry_ = {256, 0};
  std::vector<uint8_t> patched_;
  bool first_is_top_ = true;  // of the pairs so far
  int pairs_to_judge_ = 8;
};

}  // namespace tkmjpg::gst
