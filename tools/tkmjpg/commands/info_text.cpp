#include <algorithm>
#include <cstdio>

#include "tools/tkmjpg/commands/info_report.h"
#include "tools/tkmjpg/commands/info_summary.h"
#include "tools/tkmjpg/streams/quality_estimate.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

std::string Size(const ImageAnalysis& image) {
  return std::to_string(image.width) + "x" + std::to_string(image.height);
}

// "1+2" of a pair, "0" of a whole image, "-" without field codes.
std::string FieldCodes(const FrameAnalysis& frame) {
  std::string text;
  for (const ImageAnalysis& image : frame.images) {
    if (!text.empty()) text += '+';
    text += image.field_code ? std::to_string(*image.field_code) : "-";
  }
  return text;
}

std::string ImageSizes(const FrameAnalysis& frame) {
  std::string text = Size(frame.images[0]);
  if (!frame.IsFieldPair()) return text;
  const std::string second = Size(frame.images[1]);
  if (text == second) return "2 of " + text;
  return text + "+" + second;
}

std::string Quality(const FrameAnalysis& frame) {
  std::string text;
  for (const ImageAnalysis& image : frame.images) {
    const NearestQuality nearest = FindNearestQuality(image);
    const char* const form = nearest.quality == 0 ? "-" : nearest.exact ? "%d" : "~%d";
    char one[16];
    std::snprintf(one, sizeof one, form, nearest.quality);
    if (text == one) continue;
    if (!text.empty()) text += '+';
    text += one;
  }
  return text;
}

std::string SizeFieldsWord(const FrameAnalysis& frame) {
  if (!frame.images[0].sizes) return "-";
  const bool right = std::ranges::all_of(
      frame.images, [](const ImageAnalysis& image) { return !image.sizes || image.sizes->right; });
  return right ? "right" : "wrong";
}

std::string Mode(const ImageAnalysis& image) {
  return image.mode < 0 ? "-" : std::to_string(image.mode);
}

std::string Interval(const ImageAnalysis& image) {
  return image.restart_interval ? std::to_string(*image.restart_interval) : "-";
}

std::string ProblemsOf(int64_t number, const FrameAnalysis& frame) {
  std::string line = "  frame ";
  line += std::to_string(number) + ": " + frame.problems[0];
  for (size_t i = 1; i < frame.problems.size(); ++i) line += "; " + frame.problems[i];
  return Printable(line);
}

class TextReport : public InfoReport {
 public:
  explicit TextReport(InfoFrames frames) : frames_(frames) {}

  void Begin(const FilmFacts& facts) override {
    facts_ = facts;
    Print("%s: %s", Printable(facts.name).c_str(), facts.container.c_str());
    if (!facts.fourcc.empty()) Print(", %s", Printable(facts.fourcc).c_str());
    Print("\n");
    for (const std::string& problem : facts.problems) Print("  %s\n", Printable(problem).c_str());
    if (frames_ == InfoFrames::kNone) return;
    Print("\n%7s %9s %8s %4s %6s %-16s %7s %-8s %5s %-5s %s\n", "frame", "bytes", "bits/px", "mode",
          "fields", "image", "quality", "Huffman", "DRI", "sizes", "alpha");
  }

  void Frame(int64_t number, const FrameAnalysis& frame) override {
    if (frame.size != 0 && !frame.problems.empty()) NoteProblems(number, frame);
    if (frames_ == InfoFrames::kNone) return;
    if (frame.size == 0) {
      Print("%7lld         0  the last frame again\n", static_cast<long long>(number));
      return;
    }
    if (frame.images.empty()) {
      Print("%7lld %9zu  no image\n", static_cast<long long>(number), frame.size);
    } else {
      PrintLine(number, frame);
    }
    if (!frame.problems.empty()) Print("%s\n", ProblemsOf(number, frame).c_str());
  }

  void End(const FilmSummary& summary) override {
    if (frames_ == InfoFrames::kOne) return;
    if (frames_ == InfoFrames::kAll) Print("\n");
    for (const auto& [name, text] : SummaryLines(facts_, summary)) {
      Print("  %-9s %s\n", name, Printable(text).c_str());
    }
    if (frames_ == InfoFrames::kAll) return;
    for (const std::string& line : anomalies_) Print("%s\n", line.c_str());
    const auto more = summary.with_problems - static_cast<int64_t>(anomalies_.size());
    if (more > 0) Print("  and %lld more; --frames lists them\n", static_cast<long long>(more));
  }

 private:
  void NoteProblems(int64_t number, const FrameAnalysis& frame) {
    constexpr size_t kMostShown = 10;
    if (anomalies_.size() < kMostShown) anomalies_.push_back(ProblemsOf(number, frame));
  }

  void PrintLine(int64_t number, const FrameAnalysis& frame) const {
    const ImageAnalysis& image = frame.images[0];
    Print("%7lld %9zu %8.3f %4s %6s %-16s %7s %-8s %5s %-5s %s\n", static_cast<long long>(number),
          frame.size, BitsPerPixel(frame.size, facts_.format), Mode(image).c_str(),
          FieldCodes(frame).c_str(), ImageSizes(frame).c_str(), Quality(frame).c_str(),
          HuffmanName(image.huffman).c_str(), Interval(image).c_str(),
          SizeFieldsWord(frame).c_str(), frame.alpha_offset != 0 ? "yes" : "-");
    if (frames_ == InfoFrames::kOne) PrintImages(frame);
  }

  static void PrintImages(const FrameAnalysis& frame) {
    for (const ImageAnalysis& image : frame.images) {
      Print("\n  image at byte %zu: %s, %s, %d bits, %zu bytes to EOI, fill %zu\n", image.begin,
            Size(image).c_str(), image.sampling.c_str(), image.precision,
            image.data_end - image.begin, image.Fill());
      if (!image.other_shape.empty()) Print("  shape: %s\n", image.other_shape.c_str());
      if (image.sizes) {
        Print("  size fields: %u with fill, %u without\n", image.sizes->image_size,
              image.sizes->image_data_size);
      }
      for (const Segment& segment : image.segments) {
        Print("  %8zu  FF%02X  %zu bytes\n", segment.offset, segment.marker,
              segment.end - segment.offset);
      }
      for (size_t t = 0; t < 4; ++t) {
        if (image.quant.defined[t]) PrintTable(t, image.quant.values[t]);
      }
    }
    if (frame.alpha_offset != 0) Print("\n  alpha at byte %zu\n", frame.alpha_offset);
  }

  static void PrintTable(size_t number, const std::array<uint16_t, 64>& values) {
    Print("  quantisation table %zu, zig-zag:", number);
    for (size_t k = 0; k < 64; ++k) Print("%s%u", k % 16 == 0 ? "\n    " : " ", values[k]);
    Print("\n");
  }

  InfoFrames frames_;
  FilmFacts facts_;
  std::vector<std::string> anomalies_;  // the first ones
};

}  // namespace

std::unique_ptr<InfoReport> MakeTextReport(InfoFrames frames) {
  return std::make_unique<TextReport>(frames);
}

std::string FieldOrderName(FieldOrder order) {
  if (order == FieldOrder::kTopFirst) return "top field first";
  return order == FieldOrder::kBottomFirst ? "bottom field first" : "progressive";
}

std::string HuffmanName(HuffmanTables tables) {
  if (tables == HuffmanTables::kNone) return "none";
  if (tables == HuffmanTables::kInherited) return "inherited";
  return tables == HuffmanTables::kStandard ? "standard" : "other";
}

double BitsPerPixel(size_t bytes, const VideoFormat& format) {
  const double pixels = static_cast<double>(format.width) * format.height;
  return pixels > 0 ? static_cast<double>(bytes) * 8 / pixels : 0;
}

}  // namespace tkmjpg::tool
