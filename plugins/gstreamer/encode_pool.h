// Codes frames on several threads and gives the streams in the order of the frames.
#pragma once

#include <gst/video/gstvideoencoder.h>

#include <deque>
#include <future>
#include <vector>

#include "gstreamer/frame_encoder.h"

namespace tkmjpg::gst {

class EncodePool {
 public:
  EncodePool(const EncodeFormat& format, size_t threads);

  bool IsFull() const { return jobs_.size() == encoders_.size(); }
  bool IsEmpty() const { return jobs_.empty(); }

  // Takes over `frame` and `raw`, its mapped input. Not when full. With a `carry`, which takes
  // turns with the frames, the pool must be of one thread.
  void Start(GstVideoCodecFrame* frame, const GstVideoFrame& raw, const EncodeSettings& settings,
             CodecCarryState* carry);

  // Waits for the oldest frame and gives it with its output buffer, or without one if the codec
  // had no stream for it. Not when empty.
  GstVideoCodecFrame* TakeOldest();

 private:
  struct Job {
    GstVideoCodecFrame* frame;
    GstVideoFrame raw;
    std::future<GstBuffer*> stream;
  };

  std::vector<FrameEncoder> encoders_;
  size_t next_encoder_ = 0;
  std::deque<Job> jobs_;
};

}  // namespace tkmjpg::gst
