#include "gstreamer/stream_caps.h"

#include <cstring>

namespace tkmjpg::gst {
namespace {

// What the caps say of YCbCr; range and matrix are unknown if they do not.
GstVideoColorimetry CapsColorimetry(const GstVideoCodecState& input) {
  GstVideoColorimetry colors = {};
  const char* text = gst_structure_get_string(gst_caps_get_structure(input.caps, 0), "colorimetry");
  if (text == nullptr || !gst_video_colorimetry_from_string(&colors, text) ||
      colors.matrix == GST_VIDEO_COLOR_MATRIX_RGB) {
    colors = {};
  }
  return colors;
}

bool IsLimited(const GstVideoCodecState& input, const JpegImage& image, Range range) {
  if (range != Range::kAuto) return range == Range::kLimited;
  const GstVideoColorRange said = CapsColorimetry(input).range;
  if (image.itu601 || said == GST_VIDEO_COLOR_RANGE_UNKNOWN) return image.itu601 || image.avi1;
  return said == GST_VIDEO_COLOR_RANGE_16_235;
}

}  // namespace

const char* RefusalOf(GstCaps* caps) {
  const GstStructure* fields = gst_caps_get_structure(caps, 0);
  int sof_marker = 0;
  gst_structure_get_int(fields, "sof-marker", &sof_marker);
  if (sof_marker != 0) return "only baseline images (SOF0) are read";
  const char* colorspace = gst_structure_get_string(fields, "colorspace");
  if (colorspace != nullptr && std::strcmp(colorspace, "sYUV") != 0) {
    return "only YCbCr is read";
  }
  const char* sampling = gst_structure_get_string(fields, "sampling");
  if (sampling != nullptr && std::strcmp(sampling, "YCbCr-4:2:2") != 0) {
    return "only 4:2:2 is read";
  }
  return nullptr;
}

OutputShape OutputShapeOf(const GstVideoCodecState& input, const JpegFrame& frame,
                          const FrameShape& shape, Range range) {
  OutputShape result = {shape.width, shape.height};
  const GstVideoInfo& info = input.info;
  result.mode = GST_VIDEO_INFO_INTERLACE_MODE(&info);
  if (shape.fields && result.mode == GST_VIDEO_INTERLACE_MODE_PROGRESSIVE) {
    result.mode = GST_VIDEO_INTERLACE_MODE_INTERLEAVED;
  }
  if (result.mode == GST_VIDEO_INTERLACE_MODE_INTERLEAVED) {
    result.order = GST_VIDEO_INFO_FIELD_ORDER(&info);
    // The first image is the first in time, unless the caps say otherwise.
    if (result.order == GST_VIDEO_FIELD_ORDER_UNKNOWN) {
      result.order = GST_VIDEO_FIELD_ORDER_TOP_FIELD_FIRST;
    }
  }
  result.limited_range = IsLimited(input, frame.images[0], range);
  return result;
}

GstVideoColorimetry StreamColorimetry(const GstVideoCodecState& input, bool limited_range) {
  GstVideoColorimetry colors = CapsColorimetry(input);
  if (colors.matrix == GST_VIDEO_COLOR_MATRIX_UNKNOWN) {
    gst_video_colorimetry_from_string(&colors, GST_VIDEO_COLORIMETRY_BT601);
  }
  colors.range = limited_range ? GST_VIDEO_COLOR_RANGE_16_235 : GST_VIDEO_COLOR_RANGE_0_255;
  return colors;
}

}  // namespace tkmjpg::gst
