#include "tools/tkmjpg/commands/frame_decoder.h"

#include <algorithm>
#include <new>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/decode_layout.h"
#include "tools/tkmjpg/streams/lossless_recode.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

// Whether an undamaged image of this shape writes all the lines that are its share.
bool Covers(const ImageAnalysis& image, int width, int height, bool fields) {
  const int lines = fields ? 2 * std::min(image.height, height / 2) : image.height;
  return image.width >= width && lines >= height && image.restart_interval.value_or(0) == 0;
}

// Clearing a picture costs as much as writing it, so it is done for odd streams alone.
bool MayLeaveGaps(const FrameAnalysis& frame, int width, int height) {
  if (!frame.problems.empty()) return true;
  const bool fields = frame.HasFieldCode() || frame.images[0].height < height;
  const size_t images = std::min<size_t>(frame.images.size(), fields ? 2 : 1);
  return !std::all_of(
      frame.images.begin(), frame.images.begin() + static_cast<ptrdiff_t>(images),
      [&](const ImageAnalysis& image) { return Covers(image, width, height, fields); });
}

std::string DamageOf(const FrameAnalysis& frame) {
  for (size_t i = 0; i < frame.images.size() && i < 2; ++i) {
    if (!frame.images[i].problem.empty()) return frame.images[i].problem;
  }
  if (frame.IsFieldPair() && frame.images[1].sof != 0) return RefusalOf(frame.images[1]);
  return {};
}

}  // namespace

void FrameDecoder::Prepare(Picture& picture) const {
  picture.layout = layout_;
  picture.stride = int64_t{width_} * LayoutBytesPerPixel(layout_);
  picture.pixels.resize(static_cast<size_t>(picture.stride * height_));
}

void FrameDecoder::MakeBlack(Picture& picture) const {
  Prepare(picture);
  FillBlack(layout_, picture.pixels.data(), picture.pixels.size());
}

DecodedFrame FrameDecoder::Decode(std::span<const uint8_t> stream, uint32_t memory,
                                  Picture& picture) const try {
  DecodedFrame result = {memory, memory, {}, {}};
  const FrameAnalysis frame = AnalyseFrame(stream);
  result.refusal = frame.refusal;
  if (!result.refusal.empty()) return result;
  result.damage = DamageOf(frame);
  RecodedFrame recoded;
  if (frame.NeedsRecoding()) {
    recoded = RecodeFrame(stream, frame);
    stream = recoded.stream;
    if (result.damage.empty()) result.damage = recoded.damage;
  }
  Prepare(picture);
  if (!recoded.damage.empty() || MayLeaveGaps(frame, width_, height_)) MakeBlack(picture);
  CodecCarryState carry = {memory, 0};
  DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), picture.pixels.data(),
                        static_cast<int32_t>(picture.stride), width_, height_, flags_, layout_, 0,
                        &carry);
  result.memory_after = carry.decode_flags;
  return result;
} catch (const std::bad_alloc&) {
  const std::string size = std::to_string(width_) + "x" + std::to_string(height_);
  return {memory, memory, "no memory for a picture of " + size, {}};
}

}  // namespace tkmjpg::tool
