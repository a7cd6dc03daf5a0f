#include "decoder/image_decoder.h"

#include <algorithm>

#include "decoder/fast_reader.h"

namespace tkmjpg {
namespace {

template <typename Decode>
bool ForEachBand(DecoderContext& context, BandSink& sink, Decode decode) {
  while (context.rows_done < context.height) {
    const int first = context.rows_done, count = std::min(8, context.height - first);
    if (!decode(sink.Next(first, count))) return false;
    sink.Done(first, count);
  }
  return true;
}

bool DecodeFast(DecoderContext& context, BandSink& sink) {
  const FastRowDecoder decode_row = FastRowDecoderOf(context.rung, context.pixel_format);
  if (decode_row == nullptr || context.by_definition) return false;
  FastReader reader(context);
  return ForEachBand(context, sink,
                     [&](const BandRows& band) { return decode_row(context, reader, band); }) &&
         FinishFastImage(context, reader);
}

class PlainLines final : public BandSink {
 public:
  PlainLines(uint8_t* lines, int64_t step) : lines_(lines), step_(step) {}
  BandRows Next(int first, int count) override {
    BandRows band;
    band.count = count;
    for (int i = 0; i < count; ++i) band.rows[i] = lines_ + (first + i) * step_;
    return band;
  }

 private:
  uint8_t* lines_;
  int64_t step_;
};

}  // namespace

bool SetUpImage(DecoderContext& context, int32_t width, int32_t height) {
  const ImageHeader& header = context.header;
  if (header.components != 3 || header.scan_components != 3 || header.precision != 8) return false;
  uint32_t widest = 1, highest = 1;
  for (const ComponentInfo& component : header.sampling) {
    widest = std::max(widest, component.h_samp);
    highest = std::max(highest, component.v_samp);
  }
  if (widest != 2 || highest != 1) return false;

  context.width = std::min(header.width, width);
  context.height = std::min(header.height, height);
  // A stream wider than the caller's lines is decoded whole and cropped; no lines, no work.
  const int32_t decoded_width = context.width == 0 ? 0 : header.width;
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

bool DecodeImage(DecoderContext& context, BandSink& sink) {
  if (context.mcus_per_row == 0 || context.height == 0) return true;
  const DecoderContext prepared = context;
  if (DecodeFast(context, sink)) return true;
  context = prepared;
  context.doubtful = true;
  BitReader reader;
  return ForEachBand(context, sink,
                     [&](const BandRows& band) { return DecodeMcuRow(context, reader, band); });
}

bool DecodeImage(DecoderContext& context, uint8_t* lines, int64_t line_step) {
  PlainLines sink(lines, line_step);
  return DecodeImage(context, sink);
}

}  // namespace tkmjpg
