#include "gstreamer/frame_decoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "gstreamer/field_arrangement.h"
#include "gstreamer/layouts.h"

namespace tkmjpg::gst {
namespace {

uint8_t* FirstLine(GstVideoFrame* frame) {
  return static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(frame, 0));
}

ptrdiff_t Stride(const GstVideoFrame& frame) { return GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0); }

bool IsPackedYuv(const GstVideoFrame& frame) {
  return GST_VIDEO_FORMAT_INFO_IS_YUV(frame.info.finfo);
}

// Damaged streams do not reach every pixel, and the memory has been used before.
void PaintBlack(GstVideoFrame* frame) {
  const GstVideoFormat format = GST_VIDEO_FRAME_FORMAT(frame);
  const bool yuv = IsPackedYuv(*frame);
  const uint8_t even = format == GST_VIDEO_FORMAT_UYVY ? 128 : 16;
  const auto bytes = static_cast<size_t>(std::min<ptrdiff_t>(
      std::abs(Stride(*frame)),
      4 * ((static_cast<ptrdiff_t>(GST_VIDEO_FRAME_WIDTH(frame)) + 1) / 2 * 2)));
  for (int y = 0; y < GST_VIDEO_FRAME_HEIGHT(frame); ++y) {
    uint8_t* line = FirstLine(frame) + y * Stride(*frame);
    for (size_t i = 0; i < bytes; ++i) {
      line[i] = !yuv ? 0 : i % 2 == 0 ? even : static_cast<uint8_t>(144 - even);
    }
  }
}

// Whole pairs: the second half of one may lie beyond an odd width, but never beyond the line.
int CodedWidth(const GstVideoFrame& frame) {
  const int width = GST_VIDEO_FRAME_WIDTH(&frame);
  return IsPackedYuv(frame) ? (width + 1) / 2 * 2 : width;
}

void Decompress(std::span<const uint8_t> stream, uint32_t flags, CodecCarryState* carry,
                GstVideoFrame* out) {
  DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), FirstLine(out),
                        GST_VIDEO_FRAME_PLANE_STRIDE(out, 0), CodedWidth(*out),
                        GST_VIDEO_FRAME_HEIGHT(out), flags, LayoutOf(GST_VIDEO_FRAME_FORMAT(out)),
                        0, carry);
}

}  // namespace

void FrameDecoder::Decode(std::span<const uint8_t> stream, const JpegFrame& frame,
                          const FrameShape& shape, bool limited_range, FirstImage first_image,
                          GstVideoFrame* out) {
  const bool damaged =
      frame.images[0].damage != nullptr || (frame.count == 2 && frame.images[1].damage != nullptr);
  if (damaged) PaintBlack(out);
  const std::span<const uint8_t> patched = Patched(stream, frame, shape, IsPackedYuv(*out));
  const uint32_t flags = limited_range ? 0 : TKMJPG_D_FULL_RANGE;
  if (shape.fields) {
    DecodeFields(patched, shape, damaged, flags, first_image, out);
  } else {
    Decompress(patched, flags, nullptr, out);
  }
}

void FrameDecoder::DecodeFields(std::span<const uint8_t> stream, const FrameShape& shape,
                                bool damaged, uint32_t flags, FirstImage first_image,
                                GstVideoFrame* out) {
  const bool judge =
      first_image == FirstImage::kAuto && pairs_to_judge_ > 0 && !shape.one_field && !damaged;
  const bool top =
      first_image == FirstImage::kAuto ? first_is_top_ : first_image == FirstImage::kTop;
  flags |= TKMJPG_D_ONE_FIELD_SMART;
  Decompress(stream, flags | (top ? TKMJPG_D_INVERT_FIELDS : 0), &carry_, out);
  if (judge) {
    --pairs_to_judge_;
    const Arrangement arrangement = JudgeArrangement(*out);
    if (arrangement != Arrangement::kUnclear) pairs_to_judge_ = 0;
    if (arrangement == Arrangement::kSwapped) {
      first_is_top_ = !top;
      Decompress(stream, flags | (first_is_top_ ? TKMJPG_D_INVERT_FIELDS : 0), &carry_, out);
    }
  }
  // The last line of an odd height is in neither field.
  const int height = GST_VIDEO_FRAME_HEIGHT(out);
  if (height % 2 != 0 && height > 1) {
    uint8_t* last = FirstLine(out) + (height - 1) * Stride(*out);
    std::memcpy(last, last - Stride(*out), static_cast<size_t>(std::abs(Stride(*out))));
  }
}

// The stream as the codec has to see it: a last pair is decoded whole, and a field code in a whole
// image does not make a field of it.
std::span<const uint8_t> FrameDecoder::Patched(std::span<const uint8_t> stream,
                                               const JpegFrame& frame, const FrameShape& shape,
                                               bool packed_yuv) {
  const JpegImage& first = frame.images[0];
  const bool widen = packed_yuv && first.width % 2 != 0 && first.width == shape.width;
  const bool unmark = !shape.fields && first.field_code != 0;
  if (!widen && !unmark) return stream;
  patched_.assign(stream.begin(), stream.end());
  if (unmark) patched_[frame.begin[0] + first.field_code_offset] = 0;
  for (int i = 0; widen && i < frame.count; ++i) {
    uint8_t* width = &patched_[frame.begin[i] + frame.images[i].width_offset];
    width[0] = static_cast<uint8_t>((first.width + 1) >> 8);
    width[1] = static_cast<uint8_t>(first.width + 1);
  }
  return patched_;
}

}  // namespace tkmjpg::gst
