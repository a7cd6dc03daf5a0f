#include "gstreamer/frame_encoder.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "gstreamer/jpeg_frame.h"
#include "gstreamer/layouts.h"

namespace tkmjpg::gst {
namespace {

// Before COM three fill bytes, so that images stay multiples of 8 bytes.
constexpr uint8_t kLimitedRangeMark[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0x00, 0x0B, 'C',
                                           'S',  '=',  'I',  'T',  'U',  '6',  '0',  '1'};
// Of a long AVI1 segment at the start of an image: where it ends, and its two size fields.
constexpr size_t kAvi1End = 20;
constexpr size_t kSizeFields[] = {12, 16};

// Header styles: AVI1 with its size fields, and JFIF, whose readers all expect full range.
constexpr uint32_t kAvi1Style = 0;
constexpr uint32_t kJfifStyle = 7U << TKMJPG_C_MODE_SHIFT;

// Frames and field pairs may come by turns, and an odd width may be coded with a pixel more.
uint32_t Capacity(const EncodeFormat& format) {
  return std::max(TkmjpgMaxStreamSize(format.width + 1, format.height, 0),
                  TkmjpgMaxStreamSize(format.width + 1, format.height, TKMJPG_C_FIELDS));
}

// An odd width of packed YUV is coded with a whole last pair, which the codec alone would cut.
bool NeedsPacking(const GstVideoFrame& frame, const EncodeFormat& format) {
  return !IsTakenDirectly(GST_VIDEO_FRAME_FORMAT(&frame)) ||
         format.range_change != RangeChange::kNone ||
         (GST_VIDEO_FORMAT_INFO_IS_YUV(frame.info.finfo) && format.width % 2 != 0);
}

uint32_t BigEndian32(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

void PutBigEndian(uint8_t* bytes, uint32_t value, int count) {
  for (int i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * (count - 1 - i)));
}

GstBuffer* NewBuffer(std::span<const uint8_t> stream) {
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, stream.size(), nullptr);
  if (buffer != nullptr) gst_buffer_fill(buffer, 0, stream.data(), stream.size());
  return buffer;
}

// The stream with the mark after the AVI1 segment of each of its `images`.
GstBuffer* NewMarkedBuffer(std::span<uint8_t> stream, size_t images) {
  constexpr size_t kMark = sizeof kLimitedRangeMark;
  const size_t size = stream.size() + images * kMark;
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
  GstMapInfo map;
  if (buffer == nullptr || !gst_buffer_map(buffer, &map, GST_MAP_WRITE)) return buffer;
  uint8_t* out = map.data;
  for (; images > 0; --images) {
    const uint32_t image_size = BigEndian32(&stream[kSizeFields[0]]);
    for (const size_t field : kSizeFields) {
      PutBigEndian(&stream[field], BigEndian32(&stream[field]) + kMark, 4);
    }
    out = std::copy_n(stream.data(), kAvi1End, out);
    out = std::copy_n(kLimitedRangeMark, kMark, out);
    out = std::copy(&stream[kAvi1End], stream.data() + image_size, out);
    stream = stream.subspan(image_size);
  }
  std::ranges::copy(stream, out);
  gst_buffer_unmap(buffer, &map);
  return buffer;
}

void PatchWidth(std::span<uint8_t> stream, int width) {
  const JpegFrame frame = ReadJpegFrame(stream);
  for (int i = 0; i < frame.count; ++i) {
    PutBigEndian(&stream[frame.begin[i] + frame.images[i].width_offset],
                 static_cast<uint32_t>(width), 2);
  }
}

}  // namespace

bool IsTakenDirectly(GstVideoFormat format) {
  return format == GST_VIDEO_FORMAT_YUY2 || LayoutOf(format) != TKMJPG_YUY2;
}

FrameEncoder::FrameEncoder(const EncodeFormat& format)
    : format_(format),
      capacity_(Capacity(format)),
      stream_(std::make_unique_for_overwrite<uint8_t[]>(capacity_)) {}

GstBuffer* FrameEncoder::Encode(const GstVideoFrame& frame, const EncodeSettings& settings,
                                CodecCarryState* carry) {
  const auto* pixels = static_cast<const uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
  int stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
  int width = format_.width;
  uint32_t layout = LayoutOf(GST_VIDEO_FRAME_FORMAT(&frame));
  if (NeedsPacking(frame, format_)) {
    width = (width + 1) / 2 * 2;
    stride = width * 2;
    layout = TKMJPG_YUY2;
    if (packed_ == nullptr) {
      const size_t size = static_cast<size_t>(stride) * static_cast<size_t>(format_.height);
      packed_ = std::make_unique_for_overwrite<uint8_t[]>(size);
    }
    PackYuy2(frame, format_.range_change, packed_.get());
    pixels = packed_.get();
  }
  const uint32_t style = format_.limited_range ? kAvi1Style : kJfifStyle;
  const uint32_t size =
      CompressBuffer_MJPG(pixels, stride, stream_.get(), capacity_, width, format_.height,
                          settings.quality, settings.flags | style, layout, 0, carry);
  if (size == 0) return nullptr;
  const std::span<uint8_t> stream(stream_.get(), size);
  if (width != format_.width) PatchWidth(stream, format_.width);
  if (!format_.limited_range) return NewBuffer(stream);
  return NewMarkedBuffer(stream, (settings.flags & TKMJPG_C_FIELDS) != 0 ? 2 : 1);
}

}  // namespace tkmjpg::gst
