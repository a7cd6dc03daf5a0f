// What picture a frame makes: its size, and whether its images are fields.
#pragma once

#include "gstreamer/jpeg_frame.h"

namespace tkmjpg::gst {

struct FrameShape {
  int width = 0, height = 0;
  bool fields = false;     // its images are fields, one or two of them
  bool one_field = false;  // and the other one is missing

  bool operator==(const FrameShape&) const = default;
};

// `width` and `height` are what the container says, 0 for nothing. They crop what the images have
// beyond, up to an MCU or two. Where they cannot be true, the images count.
FrameShape ShapeOf(const JpegFrame& frame, int width, int height);

}  // namespace tkmjpg::gst
