// What the caps before the decoder say, and what the caps after it are made of.
#pragma once

#include <gst/video/gstvideodecoder.h>

#include "gstreamer/choices.h"
#include "gstreamer/frame_shape.h"

namespace tkmjpg::gst {

// Why the codec does not read such images; null if it may.
const char* RefusalOf(GstCaps* caps);

// What the output caps are made of.
struct OutputShape {
  int width = 0, height = 0;
  GstVideoInterlaceMode mode = GST_VIDEO_INTERLACE_MODE_PROGRESSIVE;
  GstVideoFieldOrder order = GST_VIDEO_FIELD_ORDER_UNKNOWN;
  bool limited_range = false;

  bool operator==(const OutputShape&) const = default;
};

OutputShape OutputShapeOf(const GstVideoCodecState& input, const JpegFrame& frame,
                          const FrameShape& shape, Range range);

// BT.601 if the caps do not say otherwise, as of all JPEG.
GstVideoColorimetry StreamColorimetry(const GstVideoCodecState& input, bool limited_range);

}  // namespace tkmjpg::gst
