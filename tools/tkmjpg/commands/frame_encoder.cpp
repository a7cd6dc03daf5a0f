#include "tools/tkmjpg/commands/frame_encoder.h"

#include <algorithm>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

// A coefficient takes up to 26 bits, and each byte may be followed by a stuffed one: less than 7
// bytes, two of them a pixel. Alpha takes less than 4. Most of the capacity is never touched, so
// the system never provides it.
constexpr uint64_t kBytesPerPixel = 2 * 7 + 4;
constexpr uint64_t kHeaderBytes = 16 * 1024;

uint64_t Capacity(uint64_t width, uint64_t height) {
  const uint64_t pixels = (width + 15) / 16 * 16 * ((height + 15) / 16 * 16 + 16);
  return std::min<uint64_t>(pixels * kBytesPerPixel + kHeaderBytes, INT32_MAX);
}

}  // namespace

uint32_t FieldFlags(FieldOrder order, FirstImage first) {
  if (order == FieldOrder::kProgressive) return 0;
  return TKMJPG_C_FIELDS | (first == FirstImage::kTop ? TKMJPG_C_CODE2_FIRST : 0);
}

FrameEncoder::FrameEncoder(const VideoFormat& format, const FrameSettings& settings)
    : width_(format.width),
      height_(format.height),
      settings_(settings),
      capacity_(static_cast<uint32_t>(
          Capacity(static_cast<uint64_t>(format.width), static_cast<uint64_t>(format.height)))),
      buffer_(std::make_unique_for_overwrite<uint8_t[]>(capacity_)) {}

void FrameEncoder::Encode(const Picture& picture, CodecCarryState* carry, Bytes& stream) {
  const uint32_t size = CompressBuffer_MJPG(
      picture.pixels.data(), static_cast<int32_t>(picture.stride), buffer_.get(), capacity_, width_,
      height_, settings_.quality, settings_.flags, picture.layout, 0, carry);
  if (size == 0) throw InputError("the codec has no frame for such a picture");
  stream.assign(buffer_.get(), buffer_.get() + size);
}

}  // namespace tkmjpg::tool
