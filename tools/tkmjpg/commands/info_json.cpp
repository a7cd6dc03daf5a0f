#include "tools/tkmjpg/commands/info_report.h"
#include "tools/tkmjpg/streams/quality_estimate.h"
#include "tools/tkmjpg/terminal/json.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

std::string QuantTablesOf(const ImageAnalysis& image) {
  JsonObject tables;
  for (size_t t = 0; t < 4; ++t) {
    if (!image.quant.defined[t]) continue;
    tables.Raw(std::to_string(t).c_str(),
               JsonArray(image.quant.values[t], [](uint16_t v) { return std::to_string(v); }));
  }
  return tables.Done();
}

std::string ImageObject(const ImageAnalysis& image, bool in_full) {
  const NearestQuality nearest = FindNearestQuality(image);
  JsonObject object;
  object.Int("offset", image.begin)
      .Int("bytes", image.data_end - image.begin)
      .Int("fill", image.Fill())
      .Int("width", image.width)
      .Int("height", image.height)
      .Text("sampling", image.sampling)
      .Int("mode", image.mode)
      .Text("huffman", HuffmanName(image.huffman))
      .Int("quality", nearest.quality)
      .Bool("quality_exact", nearest.exact)
      .Bool("complete", image.complete);
  if (!image.other_shape.empty()) object.Text("other_shape", image.other_shape);
  if (image.field_code) object.Int("field_code", *image.field_code);
  if (image.sizes) object.Bool("size_fields_right", image.sizes->right);
  if (image.restart_interval) object.Int("restart_interval", *image.restart_interval);
  if (in_full) object.Raw("quantisation", QuantTablesOf(image));
  return object.Done();
}

class JsonReport : public InfoReport {
 public:
  explicit JsonReport(bool in_full) : in_full_(in_full) {}

  void Begin(const FilmFacts& facts) override {
    format_ = facts.format;
    JsonObject object;
    object.Text("file", facts.name).Text("container", facts.container);
    if (!facts.fourcc.empty()) object.Text("fourcc", facts.fourcc);
    if (!facts.index.empty()) object.Text("index", facts.index);
    object.Int("width", format_.width)
        .Int("height", format_.height)
        .Text("rate", std::to_string(format_.rate.num) + "/" + std::to_string(format_.rate.den))
        .Text("field_order", FieldOrderName(format_.field_order))
        .Text("pixel_aspect", std::to_string(format_.pixel_aspect.num) + ":" +
                                  std::to_string(format_.pixel_aspect.den))
        .Raw("sound", JsonArray(facts.sound, JsonString));
    const FilmProperties& found = facts.properties;
    if (!facts.fields.empty()) {
      object.Text("first_image", found.first_image == FieldLines::kEven ? "top" : "bottom")
          .Text("first_image_from", found.LinesReason());
    }
    if (!facts.range.empty()) {
      object.Text("range", found.range == Range::kFull ? "full" : "limited")
          .Text("range_from", found.RangeReason());
    }
    object.Raw("problems", JsonArray(facts.problems, JsonString));
    std::string head = object.Done();
    head.pop_back();
    Print("%s,\n \"frames\": [", head.c_str());
  }

  void Frame(int64_t number, const FrameAnalysis& frame) override {
    JsonObject object;
    object.Int("frame", number)
        .Int("bytes", frame.size)
        .Real("bits_per_pixel", BitsPerPixel(frame.size, format_))
        .Bool("repeat", frame.size == 0)
        .Bool("alpha", frame.alpha_offset != 0)
        .Raw("images",
             JsonArray(frame.images,
                       [&](const ImageAnalysis& image) { return ImageObject(image, in_full_); }))
        .Raw("problems", JsonArray(frame.problems, JsonString));
    Print("%s\n  %s", first_ ? "" : ",", object.Done().c_str());
    first_ = false;
  }

  void End(const FilmSummary& s) override {
    JsonObject object;
    object.Int("frames", s.frames)
        .Int("repeats", s.repeats)
        .Int("field_pairs", s.pairs)
        .Int("alpha", s.alphas)
        .Int("anomalies", s.with_problems)
        .Int("recodable", s.recodable)
        .Int("bytes", s.bytes)
        .Int("smallest", s.largest == 0 ? 0 : s.smallest)
        .Int("largest", s.largest)
        .Int("lowest_quality", s.lowest_quality)
        .Int("highest_quality", s.highest_quality)
        .Real("bits_per_pixel", s.bits_per_pixel)
        .Real("seconds", s.seconds)
        .Real("bits_per_second", s.BitsPerSecond());
    Print("],\n \"summary\": %s}\n", object.Done().c_str());
  }

 private:
  bool in_full_;
  VideoFormat format_;
  bool first_ = true;
};

}  // namespace

std::unique_ptr<InfoReport> MakeJsonReport(InfoFrames frames) {
  return std::make_unique<JsonReport>(frames == InfoFrames::kOne);
}

}  // namespace tkmjpg::tool
