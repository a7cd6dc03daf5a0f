#include "encoder/frame_compressor.h"

#include <algorithm>

#include "encoder/image_encoder.h"
#include "encoder/mcu_row.h"
#include "encoder/quant_tables.h"
#include "encoder/rate_control.h"

namespace tkmjpg {
namespace {

constexpr int32_t kLargestSize = 65535;  // SOF0 has 16 bits for each

// What decides an image's quantisation: a quality, or the scale that follows the sizes.
struct Quantisation {
  bool rate_control;
  bool strong;
  int32_t quality;
  RateTarget target;
  int32_t next_scale;  // of the next image, [1, 256]; 0 for none yet
};

// One of the images of a frame.
struct FieldImage {
  ImageLines lines;
  FieldCode field_code;
};

StreamMode StreamModeOf(uint32_t flags) {
  const uint32_t mode = (flags >> 20) & 0xF;
  return mode == 4 || mode == 6 || mode > 7 ? StreamMode::kAvi1 : static_cast<StreamMode>(mode);
}

// Codes the image and, under strong rate control, once more over its own bytes if its size is out
// of range; then the second result stands, whatever its size.
void CodeImage(EncoderContext& context, Quantisation& quantisation, const FieldImage& image,
               StreamMode mode) {
  if (!quantisation.rate_control) {
    BuildQuantTablesFromQuality(context, quantisation.quality);
    EncodeImage(context, image.lines, image.field_code, mode);
    return;
  }
  const uint64_t start = context.output.output_position;
  const RateTarget& target = quantisation.target;
  const int attempts = quantisation.strong ? 2 : 1;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const int32_t scale = quantisation.next_scale;
    context.output.output_position = start;
    BuildQuantTablesFromScale(context, TableScale(scale));
    EncodeImage(context, image.lines, image.field_code, mode);
    const auto size = static_cast<int64_t>(context.output.output_position - start);
    quantisation.next_scale = NextRateScale(size, target.image_target, scale);
    if (size >= target.size_floor && size <= target.size_ceiling) break;
  }
}

// The images of a frame in stream order; the second one counts with `two_images` only.
struct FrameLayout {
  int32_t image_height;  // a multiple of 8
  FieldImage first, second;
  bool two_images;
};

FrameLayout LayOutFrame(const uint8_t* input, int64_t stride, int32_t height, uint32_t flags) {
  const bool fields = (flags & kFieldCoding) != 0;
  const int32_t lines = fields ? height >> 1 : height;
  const int32_t pad_rows = -lines & 7;
  const int64_t step = fields ? 2 * stride : stride;
  const bool code2_first = (flags & kFieldCode2First) != 0;
  const bool even_first = !fields || ((flags & kSwapFieldLines) != 0) != code2_first;
  // The other line of a frame that has only one is never read: both images are empty then.
  const ImageLines even = {input, step, pad_rows};
  const ImageLines odd = {lines > 0 ? input + stride : input, step, pad_rows};

  FrameLayout layout;
  layout.image_height = lines + pad_rows;
  layout.two_images = fields && (flags & kCodeOneField) == 0;
  layout.first.lines = even_first ? even : odd;
  layout.second.lines = even_first ? odd : even;
  layout.first.field_code = static_cast<FieldCode>(!layout.two_images ? 0 : code2_first ? 2 : 1);
  layout.second.field_code = static_cast<FieldCode>(code2_first ? 1 : 2);
  return layout;
}

}  // namespace

uint32_t CompressFrame(uint8_t* output, uint32_t output_capacity, const uint8_t* input,
                       int32_t stride, int32_t width, int32_t height, uint32_t flags,
                       PixelFormatCode format, CodecCarryState* carry, int32_t quality) {
  if (width > kLargestSize || height > kLargestSize) return 0;
  const int32_t frame_height = std::max(height, 0);
  // Lines without pixels have no place of their own: `input` may be null then.
  const int64_t line_step = width > 0 ? stride : 0;
  const FrameLayout layout = LayOutFrame(input, line_step, frame_height, flags);
  if (layout.image_height > kLargestSize) return 0;

  EncoderContext context;
  context.encode_mcu_row = McuRowEncoderOf(ActiveCpuRung());
  context.width = std::max(width, 0);
  context.height = layout.image_height;
  context.pixel_format = format;
  context.write_huffman_tables = (flags & kWriteHuffmanTables) != 0;
  context.output.output_start = output;
  context.output.output_capacity = output_capacity;

  Quantisation quantisation = {
      .rate_control = (flags & kRateControl) != 0,
      .strong = (flags & kStrongRateControl) != 0,
      .quality = quality,
      .target = MakeRateTarget(quality, layout.two_images),
      .next_scale = static_cast<int32_t>(std::min<uint32_t>(carry->rate_scale, INT32_MAX))};
  if (quantisation.rate_control && quantisation.next_scale == 0) {
    quantisation.next_scale = InitialRateScale(frame_height, quantisation.target.image_target);
  }

  const StreamMode mode = StreamModeOf(flags);
  CodeImage(context, quantisation, layout.first, mode);
  if (layout.two_images) CodeImage(context, quantisation, layout.second, mode);
  if (context.output.output_position > output_capacity) return 0;
  if (quantisation.rate_control) carry->rate_scale = static_cast<uint32_t>(quantisation.next_scale);
  return static_cast<uint32_t>(context.output.output_position);
}

}  // namespace tkmjpg
