#include "gstreamer/encode_pool.h"

namespace tkmjpg::gst {

EncodePool::EncodePool(const EncodeFormat& format, size_t threads) {
  encoders_.reserve(threads);
  for (size_t i = 0; i < threads; ++i) encoders_.emplace_back(format);
}

void EncodePool::Start(GstVideoCodecFrame* frame, const GstVideoFrame& raw,
                       const EncodeSettings& settings, CodecCarryState* carry) {
  // Jobs end in the order in which they begin, so that the next encoder in turn is free.
  FrameEncoder& encoder = encoders_[next_encoder_];
  next_encoder_ = (next_encoder_ + 1) % encoders_.size();
  Job& job = jobs_.emplace_back(Job{frame, raw, {}});
  // A single thread is the caller's own, in TakeOldest.
  const std::launch policy = encoders_.size() == 1 ? std::launch::deferred : std::launch::async;
  job.stream = std::async(policy, [&encoder, picture = &job.raw, settings, carry] {
    return encoder.Encode(*picture, settings, carry);
  });
}

GstVideoCodecFrame* EncodePool::TakeOldest() {
  Job& job = jobs_.front();
  GstVideoCodecFrame* frame = job.frame;
  frame->output_buffer = job.stream.get();
  gst_video_frame_unmap(&job.raw);
  jobs_.pop_front();
  return frame;
}

}  // namespace tkmjpg::gst
