// The codec's layouts by GStreamer's names.
#pragma once

#include <gst/video/video.h>

#include "tkmjpg.h"

namespace tkmjpg::gst {

// YUY2 for what is packed to it.
inline uint32_t LayoutOf(GstVideoFormat format) {
  switch (format) {
    case GST_VIDEO_FORMAT_UYVY:
      return TKMJPG_UYVY;
    case GST_VIDEO_FORMAT_VYUY:
      return TKMJPG_VYUY;
    case GST_VIDEO_FORMAT_BGR:
      return TKMJPG_BGR3;
    case GST_VIDEO_FORMAT_BGRx:
      return TKMJPG_BGR4;
    case GST_VIDEO_FORMAT_BGRA:
      return TKMJPG_BGRA;
    default:
      return TKMJPG_YUY2;
  }
}

}  // namespace tkmjpg::gst
