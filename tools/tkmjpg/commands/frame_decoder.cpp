#include "tools/tkmjpg/commands/frame_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "alpha/alpha_plane.h"
#include "decoder/frame_decompressor.h"
#include "frame/layout.h"
#include "frame/stream_format.h"
#include "tkmjpg.h"
#include "tools/tkmjpg/commands/other_images.h"
#include "tools/tkmjpg/media/decode_layout.h"
#include "tools/tkmjpg/streams/lossless_recode.h"

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

// The codec takes an image with a field code for a field, whatever its height.
std::vector<uint8_t> WithoutFieldCode(std::span<const uint8_t> stream, const ImageAnalysis& image) {
  std::vector<uint8_t> copy(stream.begin(), stream.end());
  for (const Segment& segment : image.segments) {
    const bool avi1 = segment.marker == kApp0 && segment.end - segment.payload >= 5 &&
                      std::memcmp(&copy[segment.payload], "AVI1", 4) == 0;
    if (avi1) copy[segment.payload + 4] = 0;
  }
  return copy;
}

// Packed pictures of odd width lack the Cr of their last pair, which the images do have: no odd
// width is at the end of an MCU.
std::vector<uint8_t> WithEvenWidths(std::span<const uint8_t> stream, const FrameAnalysis& frame) {
  std::vector<uint8_t> copy(stream.begin(), stream.end());
  for (const ImageAnalysis& image : frame.images) {
    for (const Segment& segment : image.segments) {
      const bool header = segment.marker == kSof0 && segment.end - segment.payload >= 5;
      if (!header || image.width % 2 == 0 || image.width == 0xFFFF) continue;
      copy[segment.payload + 3] = static_cast<uint8_t>((image.width + 1) >> 8);
      copy[segment.payload + 4] = static_cast<uint8_t>(image.width + 1);
    }
  }
  return copy;
}

// What a later step found, if nothing was known before.
void NoteDamage(const std::string& what, DecodedFrame& result) {
  if (result.damage.empty() && !what.empty()) result.damage = {{what, {}, {}}};
}

}  // namespace

uint32_t FrameDecoder::FlagsOf(const FrameAnalysis& frame) const {
  const auto& lines = frame.images[0].marks.lines;
  if (!lines || (flags_ & kIgnoreLinesMarks) != 0) return flags_;
  constexpr uint32_t kOrder = TKMJPG_D_INVERT_FIELDS | TKMJPG_D_USE_AVI1_MARKERS;
  return (flags_ & ~kOrder) | (lines == FieldLines::kEven ? TKMJPG_D_INVERT_FIELDS : 0);
}

void FrameDecoder::Prepare(Picture& picture) const {
  picture.layout = layout_;
  if (layout_ == 0) {
    picture.planes = {.width = width_, .height = height_, .chroma = chroma_};
    picture.stride = 0;
    picture.pixels.resize(PlanarSize(picture.planes));
    return;
  }
  picture.stride = int64_t{width_} * LayoutBytesPerPixel(layout_);
  picture.pixels.resize(static_cast<size_t>(picture.stride * height_));
}

void FrameDecoder::MakeBlack(Picture& picture) const {
  Prepare(picture);
  if (layout_ == 0) {
    const auto luma = static_cast<ptrdiff_t>(width_) * height_;
    std::fill_n(picture.pixels.begin(), luma, uint8_t{16});
    std::fill(picture.pixels.begin() + luma, picture.pixels.end(), uint8_t{128});
    return;
  }
  FillBlack(layout_, picture.pixels.data(), picture.pixels.size());
}

DecodedFrame FrameDecoder::Decode(std::span<const uint8_t> stream, uint32_t memory,
                                  Picture& picture) const try {
  DecodedFrame result = {memory, memory, {}, {}};
  const FrameAnalysis frame = AnalyseFrame(stream);
  result.refusal = frame.refusal;
  if (!result.refusal.empty()) return result;
  if (frame.NeedsOtherDecoder() || frame.NeedsRecoding()) result.damage = FindDamage(stream, frame);
  if (frame.NeedsOtherDecoder()) {
    MakeBlack(picture);
    const OtherPicture other = DecodeOtherImages(stream, frame, height_, FlagsOf(frame), picture);
    result.refusal = other.refusal;
    NoteDamage(other.damage, result);
    return result;
  }
  if (GoesThroughPlanes()) return DecodeThroughPlanes(stream, frame, result, picture);
  return DecodeWithCodec(stream, frame, result, picture);
} catch (const std::bad_alloc&) {
  const std::string size = std::to_string(width_) + "x" + std::to_string(height_);
  return {memory, memory, "no memory for a picture of " + size, {}};
}

DecodedFrame FrameDecoder::DecodeWithCodec(std::span<const uint8_t> stream,
                                           const FrameAnalysis& frame, DecodedFrame result,
                                           Picture& picture) const {
  RecodedFrame recoded;
  if (frame.NeedsRecoding()) {
    recoded = RecodeFrame(stream, frame);
    result.refusal = recoded.refusal;
    if (!result.refusal.empty()) return result;
    stream = recoded.stream;
    NoteDamage(recoded.damage, result);
  }
  Bytes whole;
  if (frame.HasFieldCode() && frame.images.size() == 1 && IsWholeHeight(frame.images[0], height_)) {
    whole = recoded.stream.empty() ? WithoutFieldCode(stream, frame.images[0])
                                   : WithoutFieldCode(stream, AnalyseFrame(stream).images[0]);
    stream = whole;
  }
  Prepare(picture);
  const bool cleared = !result.damage.empty() || MayLeaveGaps(frame, width_, height_);
  if (cleared) MakeBlack(picture);
  const uint32_t sound = RunCodec(stream, FlagsOf(frame), result, picture);
  if (frame.NeedsRecoding()) return result;
  result.damage = FindDamage(stream, frame, sound);
  if (!result.damage.empty() && !cleared) {
    MakeBlack(picture);
    RunCodec(stream, FlagsOf(frame), result, picture);
  }
  return result;
}

uint32_t FrameDecoder::RunCodec(std::span<const uint8_t> stream, uint32_t flags,
                                DecodedFrame& result, Picture& picture) const {
  const PixelLayout& layout = *FindPixelLayout(layout_);
  CodecCarryState carry = {result.memory_before, 0};
  const auto stride = static_cast<int32_t>(picture.stride);
  const DecompressedFrame done =
      DecompressFrame(stream.data(), static_cast<uint32_t>(stream.size()), picture.pixels.data(),
                      stride, width_, height_, flags, layout.code, &carry);
  if (layout.last_byte != 0) {
    const auto rest = static_cast<uint32_t>(stream.data() + stream.size() - done.stop);
    DecodeAlphaPlane(done.stop, rest, picture.pixels.data(), stride, width_, height_);
  }
  result.memory_after = carry.decode_flags;
  return done.sound_images;
}

// The codec's own conversion to RGB is that of limited chroma, whatever luma is.
bool FrameDecoder::GoesThroughPlanes() const {
  const PixelLayout* layout = FindPixelLayout(layout_);
  if (layout == nullptr) return true;
  return layout->kind != PixelKind::kPackedYuv && (flags_ & TKMJPG_D_FULL_RANGE) != 0;
}

DecodedFrame FrameDecoder::DecodeThroughPlanes(std::span<const uint8_t> stream,
                                               const FrameAnalysis& frame, DecodedFrame result,
                                               Picture& picture) const {
  Picture packed;
  const int width = width_ + width_ % 2;
  const FrameDecoder decoder(width, height_, TKMJPG_YuYv, flags_);
  if (width == width_) {
    result = decoder.DecodeWithCodec(stream, frame, result, packed);
  } else {
    const Bytes even = WithEvenWidths(stream, frame);
    result = decoder.DecodeWithCodec(even, AnalyseFrame(even), result, packed);
  }
  if (!result.refusal.empty()) return result;
  MakeBlack(picture);
  const bool alpha = layout_ == TKMJPG_BGRA || layout_ == TKMJPG_bgra;
  if (alpha) DecodeWithCodec(stream, frame, result, picture);
  PutPacked(packed, width, height_, (flags_ & TKMJPG_D_FULL_RANGE) != 0, picture);
  return result;
}

}  // namespace tkmjpg::tool
