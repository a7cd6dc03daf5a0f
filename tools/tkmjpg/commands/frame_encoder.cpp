#include "tools/tkmjpg/commands/frame_encoder.h"

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/decode_layout.h"
#include "tools/tkmjpg/media/sample_range.h"

namespace tkmjpg::tool {

uint32_t FieldFlags(FieldOrder order, Profile profile) {
  if (order == FieldOrder::kProgressive) return 0;
  return TKMJPG_C_FIELDS | (profile == Profile::kPlayers ? TKMJPG_C_SWAP_LINES : 0);
}

std::optional<FrameForm> FormOf(const VideoFormat& format, Range range, Profile profile) {
  if (profile == Profile::kDriver) return {};
  const bool fields = format.field_order != FieldOrder::kProgressive;
  FrameForm form = {{}, fields ? size_t{2} : 1, format.width, format.height / (fields ? 2 : 1)};
  for (ImageMarks& mark : form.marks) {
    mark.limited = range == Range::kLimited;
    mark.full = range == Range::kFull;
  }
  if (!fields) return form;
  form.marks[0].lines = FieldLines::kEven;
  form.marks[1].lines = FieldLines::kOdd;
  form.marks[format.field_order == FieldOrder::kTopFirst ? 0 : 1].earlier = true;
  return form;
}

FrameEncoder::FrameEncoder(const VideoFormat& format, const FrameSettings& settings)
    : format_(format),
      settings_(settings),
      capacity_(TkmjpgMaxStreamSize(format.width, format.height, settings.flags)),
      buffer_(std::make_unique_for_overwrite<uint8_t[]>(capacity_)) {}

void FrameEncoder::ConvertR555(const Picture& picture) {
  bgr_.layout = TKMJPG_BGR3;
  bgr_.stride = int64_t{3} * format_.width;
  bgr_.pixels.resize(static_cast<size_t>(bgr_.stride * format_.height));
  R555ToBgr(picture.pixels, bgr_.pixels.data());
}

void FrameEncoder::ConvertBgr(const Picture& picture) {
  converted_.layout = TKMJPG_YUY2;
  converted_.stride = int64_t{format_.width + 1} / 2 * 4;
  converted_.pixels.resize(static_cast<size_t>(converted_.stride * format_.height));
  const int pixel_bytes = LayoutBytesPerPixel(picture.layout);
  for (int64_t y = 0; y < format_.height; ++y) {
    BgrLineToFullYuy2(picture.pixels.data() + y * picture.stride, pixel_bytes, format_.width,
                      converted_.pixels.data() + y * converted_.stride);
  }
}

// The codec makes limited range of RGB and leaves YUV as it is; 16-bit RGB would become neither,
// with white at 248.
const Picture& FrameEncoder::InRange(const Picture& picture) {
  const bool full = settings_.range == Range::kFull;
  switch (picture.layout) {
    case TKMJPG_R555:
      ConvertR555(picture);
      return InRange(bgr_);
    case TKMJPG_BGR3:
    case TKMJPG_BGR4:
    case TKMJPG_BGRA:
      if (!full) return picture;
      ConvertBgr(picture);
      return converted_;
    default:
      if (format_.range == settings_.range) return picture;
      converted_ = picture;
      ChangePackedRange(settings_.range,
                        picture.layout == TKMJPG_YUY2 ? FirstSample::kLuma : FirstSample::kChroma,
                        converted_.pixels);
      return converted_;
  }
}

void FrameEncoder::Encode(const Picture& picture, CodecCarryState* carry, Bytes& stream) {
  const Picture& input = InRange(picture);
  const int32_t width = input.layout == TKMJPG_YUY2 ? static_cast<int32_t>(input.stride / 2)
                                                    : static_cast<int32_t>(format_.width);
  const uint32_t size = CompressBuffer_MJPG(
      input.pixels.data(), static_cast<int32_t>(input.stride), buffer_.get(), capacity_, width,
      format_.height, settings_.quality, settings_.flags, input.layout, 0, carry);
  if (size == 0) throw InputError("the codec has no frame for such a picture");
  const std::span<const uint8_t> frame(buffer_.get(), size);
  if (settings_.form) return PutFrame(frame, *settings_.form, stream);
  stream.assign(frame.begin(), frame.end());
}

}  // namespace tkmjpg::tool
