#include "decoder/frame_decompressor.h"

#include <algorithm>
#include <cstring>

#include "decoder/field_reconstruction.h"
#include "decoder/image_decoder.h"
#include "decoder/stream_parser.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// The FieldCode after the first "AVI1" near the head of the data, found as bytes wherever it
// stands; 0 if there is none. The tag of another writer before it hides it.
FieldCode FindFieldCode(const uint8_t* data, uint32_t size) {
  const int64_t offsets = size > 128 ? 123 : int64_t{size} - 5;
  for (int64_t i = 0; i < offsets; ++i) {
    if (std::memcmp(data + i, "AVI1", 4) == 0) return data[i + 4];
    if (std::memcmp(data + i, "AVI2", 4) == 0 || std::memcmp(data + i, "SWC1", 4) == 0) return 0;
  }
  return 0;
}

int32_t Magnitude(int32_t value) {
  // The most negative number has no counterpart; no stream is that large.
  return value < 0 ? -std::max(value, -INT32_MAX) : value;
}

}  // namespace

DecompressedFrame DecompressFrame(const uint8_t* data, uint32_t size, uint8_t* out, int32_t stride,
                                  int32_t width, int32_t height, uint32_t flags,
                                  PixelFormatCode format, CodecCarryState* carry,
                                  bool by_definition) {
  DecoderContext context;
  context.rung = ActiveCpuRung();
  context.by_definition = by_definition;
  const PixelLayout* layout = FindPixelLayout(format);
  context.pixel_format =
      layout != nullptr && (flags & kFullColor) != 0 ? layout->full_range : format;
  context.input.read_pos = data;
  context.input.data_end = data + size;
  if (!StartImage(context)) return {context.input.read_pos, context.sound_images};

  const FrameTarget target = {data, out, stride, Magnitude(width), Magnitude(height)};
  const FieldCode field_code = FindFieldCode(data, size);
  // An image lower than the caller's picture is a field, with or without a tag.
  const bool field_mode = field_code != 0 || target.height > context.header.height;
  if (!SetUpImage(context, target.width, field_mode ? target.height / 2 : target.height)) {
    return {context.input.read_pos, context.sound_images};
  }
  if (!field_mode) {
    DecodeImage(context, out, stride);
    return {context.input.read_pos, context.sound_images};
  }
  const bool marked = (flags & kUseAvi1Markers) != 0 && field_code == 2;
  const FieldChoices choices = {
      .one_field_only = (flags & kOneFieldOnly) != 0,
      .smart = (flags & kOneFieldSmart) != 0,
      .even_first = ((flags & kInvertFieldsOrder) != 0) != marked,
  };
  DecodeFieldFrame(context, target, choices, carry);
  return {context.input.read_pos, context.doubtful ? 0 : context.sound_images};
}

}  // namespace tkmjpg
