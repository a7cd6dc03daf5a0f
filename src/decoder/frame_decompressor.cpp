#include "decoder/frame_decompressor.h"

#include <algorithm>
#include <cstring>

#include "decoder/decoder_kernels.h"
#include "decoder/field_reconstruction.h"
#include "decoder/stream_parser.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// The FieldCode behind the first "AVI1" near the head of the data, found as bytes wherever it
// stands; 0 if there is none. The tag of another writer ahead of it hides it.
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

bool SetupDecoder(DecoderContext& context) {
  if (context.frame_components != 3 || context.scan_components != 3 || context.precision != 8) {
    return false;
  }
  uint32_t widest = 1, highest = 1;
  for (const ComponentInfo& component : context.components) {
    widest = std::max(widest, component.h_samp);
    highest = std::max(highest, component.v_samp);
  }
  if (widest != 2 || highest != 1) return false;

  // A stream wider than the caller's lines is decoded whole and cropped; no lines, no work.
  const int32_t decoded_width = context.width == 0 ? 0 : context.coded_width;
  context.mcus_per_row = (static_cast<uint32_t>(decoded_width) + 15) / 16;
  context.rows_done = 0;
  context.restart_number = 0;
  context.restarts_to_go = context.restart_interval;
  for (int t = 0; t < 2; ++t) {
    for (int n = 0; n < 64; ++n) {
      context.dequant[t][n] = static_cast<uint16_t>(context.quant_slots[t][n] * 16);
    }
  }
  return true;
}

void ClipSize(DecoderContext& context, int32_t width, int32_t height) {
  context.width = std::min(context.width, width);
  context.height = std::min(context.height, height);
}

const uint8_t* DecompressFrame(const uint8_t* data, uint32_t size, uint8_t* out, int32_t stride,
                               int32_t width, int32_t height, uint32_t flags,
                               PixelFormatCode format, CodecCarryState* carry) {
  DecoderContext context;
  context.kernels = &DecoderKernelsOf(ActiveCpuRung());
  context.pixel_format = (flags & kFullColor) != 0 ? FullRangeVariant(format) : format;
  context.input.read_pos = data;
  context.input.data_end = data + size;

  const FieldCode field_code = FindFieldCode(data, size);
  FrameOutput frame = {data,
                       out,
                       stride,
                       Magnitude(width),
                       Magnitude(height),
                       flags,
                       (flags & kInvertFieldsOrder) != 0};
  if (field_code == 2 && (flags & kUseAvi1Markers) != 0) frame.invert_order = !frame.invert_order;

  if (!StartImage(context)) return context.input.read_pos;
  ClipSize(context, frame.width, frame.height);
  // An image lower than the caller's picture is a field, with or without a tag.
  const bool field_mode = field_code != 0 || frame.height > context.height;
  if (field_mode) ClipSize(context, frame.width, frame.height / 2);
  if (!SetupDecoder(context)) return context.input.read_pos;
  if (field_mode) {
    DecodeFieldFrame(context, frame, carry);
  } else {
    DecodeImage(context, out, stride);
  }
  return context.input.read_pos;
}

}  // namespace tkmjpg
