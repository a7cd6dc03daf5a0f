// One raw frame to one stream, ready for general players.
#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <memory>

#include "gstreamer/frame_packer.h"
#include "tkmjpg.h"

namespace tkmjpg::gst {

// What all frames of a stream share.
struct EncodeFormat {
  int width = 0, height = 0;
  RangeChange range_change = RangeChange::kNone;
  bool limited_range = true;  // of the stream, which says so
};

struct EncodeSettings {
  int32_t quality = 0;  // or the target size in bytes, with TKMJPG_C_RATE_CONTROL
  uint32_t flags = 0;   // TkmjpgCompressFlags without a header style
};

// True if the codec takes the frames as they lie in memory.
bool IsTakenDirectly(GstVideoFormat format);

// Codes a frame at a time, in memory of its own.
class FrameEncoder {
 public:
  explicit FrameEncoder(const EncodeFormat& format);

  // Null if the codec has no stream for it.
  GstBuffer* Encode(const GstVideoFrame& frame, const EncodeSettings& settings,
                    CodecCarryState* carry);

 private:
  EncodeFormat format_;
  uint32_t capacity_;
  std::unique_ptr<uint8_t[]> stream_;
  std::unique_ptr<uint8_t[]> packed_;
};

}  // namespace tkmjpg::gst
