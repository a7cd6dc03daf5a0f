#include "tools/tkmjpg/commands/code_again.h"

#include <algorithm>

#include "frame/marker_segments.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/commands/frame_encoder.h"
#include "tools/tkmjpg/media/planes_to_picture.h"
#include "tools/tkmjpg/streams/image_planes.h"
#include "tools/tkmjpg/streams/quality_estimate.h"

namespace tkmjpg::tool {
namespace {

constexpr uint32_t kBare = 5U << TKMJPG_C_MODE_SHIFT;  // a short header and nothing after EOI

// What RGB becomes.
bool IsFullRange(const ImageAnalysis& image) { return !image.IsLimitedRange(); }

Bytes Encode(const ImagePlanes& planes, int quality, bool full_range) {
  VideoFormat format;
  format.width = planes.width;
  format.height = planes.height;
  Picture picture;
  picture.layout = TKMJPG_YuYv;
  picture.stride = int64_t{2} * format.width;
  picture.pixels.resize(static_cast<size_t>(picture.stride * format.height));
  PutPlanes(planes, {}, full_range, picture);
  Bytes stream;
  FrameSettings settings;
  settings.quality = quality;
  settings.flags = kBare;
  FrameEncoder(format, settings).Encode(picture, nullptr, stream);
  return stream;
}

class Recoding {
 public:
  explicit Recoding(std::span<const uint8_t> frame) : frame_(frame) {}

  CodedAgain Run() {
    const FrameAnalysis analysis = AnalyseFrame(frame_);
    for (const ImageAnalysis* image : analysis.Pictures()) {
      if (!PutImage(*image)) return std::move(result_);
    }
    if (analysis.alpha_offset != 0) Put(frame_, analysis.alpha_offset, frame_.size());
    return std::move(result_);
  }

 private:
  bool PutImage(const ImageAnalysis& image) {
    result_.refusal = RefusalOf(image);
    if (!result_.refusal.empty()) return false;
    const ImagePlanes planes = DecodePlanes(frame_, image);
    result_.refusal = planes.refusal;
    if (!result_.refusal.empty()) return false;
    if (result_.damage.empty()) result_.damage = planes.damage;
    const int quality = std::max(FindNearestQuality(image).quality, 1);
    Splice(image, Encode(planes, quality, IsFullRange(image)));
    return true;
  }

  // The headers of `image` that say what it is, and the picture of `coded`.
  void Splice(const ImageAnalysis& image, const Bytes& coded) {
    const ImageAnalysis made = AnalyseImage(coded, 0);
    result_.stream.insert(result_.stream.end(), {0xFF, kSoi});
    for (const Segment& segment : image.segments) {
      const bool kept = segment.marker == kApp0 || segment.marker == kCom;
      if (kept && segment.end <= image.scan_begin) Put(frame_, segment.offset, segment.end);
    }
    for (const Segment& segment : made.segments) {
      if (segment.marker == kApp0) continue;
      Put(coded, segment.offset, segment.end);
      if (segment.marker == kSof0) PutSize(image, segment.end - segment.payload);
    }
    Put(coded, made.scan_begin, made.data_end);
    if (image.header != HeaderKind::kAvi1) return;
    result_.stream.resize(result_.stream.size() + FillSize(result_.stream.size()), 0xFF);
  }

  // The encoder has heights that are multiples of 8 in the frame header, which was put last.
  void PutSize(const ImageAnalysis& image, size_t payload_size) {
    const auto payload = result_.stream.end() - static_cast<ptrdiff_t>(payload_size);
    payload[1] = static_cast<uint8_t>(image.height >> 8);
    payload[2] = static_cast<uint8_t>(image.height);
  }

  void Put(std::span<const uint8_t> from, size_t begin, size_t end) {
    result_.stream.insert(result_.stream.end(), from.begin() + static_cast<ptrdiff_t>(begin),
                          from.begin() + static_cast<ptrdiff_t>(end));
  }

  std::span<const uint8_t> frame_;
  CodedAgain result_;
};

// Of a sample: half a step of each coefficient, spread over the samples of the blocks that are
// shown, and what two transforms differ in.
double MostSquaredError(const ImageAnalysis& image) {
  constexpr double kTransforms = 4;
  double sum = 0;
  for (const uint16_t step : image.QuantStepsOf(0)) sum += step / 2. * (step / 2.);
  const int64_t blocks = int64_t{(image.width + 7) / 8} * ((image.height + 7) / 8);
  const double shown = double{1} * image.width * image.height;
  return sum * static_cast<double>(blocks) / shown + kTransforms;
}

// The luma of a frame at its own size.
Bytes LumaOf(std::span<const uint8_t> frame, int width, int height, bool full_range) {
  Picture picture;
  const FrameDecoder decoder(width, height, TKMJPG_YuYv, full_range ? TKMJPG_D_FULL_RANGE : 0);
  if (!decoder.Decode(frame, kNewMemory, picture).refusal.empty()) return {};
  Bytes luma(picture.pixels.size() / 2);
  for (size_t i = 0; i < luma.size(); ++i) luma[i] = picture.pixels[2 * i];
  return luma;
}

}  // namespace

CodedAgain CodeAgain(std::span<const uint8_t> frame) { return Recoding(frame).Run(); }

std::string CompareCodedAgain(std::span<const uint8_t> original, std::span<const uint8_t> coded) {
  const FrameAnalysis before = AnalyseFrame(original), after = AnalyseFrame(coded);
  if (before.Pictures().size() != after.Pictures().size()) return "images are lost";
  double most = 0;
  for (const ImageAnalysis* image : after.Pictures()) {
    most = std::max(most, MostSquaredError(*image));
  }
  const int width = before.images[0].width, height = before.PictureHeight();
  const bool full_range = IsFullRange(before.images[0]);
  const Bytes wanted = LumaOf(original, width, height, full_range),
              found = LumaOf(coded, width, height, full_range);
  if (wanted.empty() || wanted.size() != found.size()) return "cannot be decoded";
  double sum = 0;
  for (size_t i = 0; i < wanted.size(); ++i) {
    const double difference = double{1} * wanted[i] - found[i];
    sum += difference * difference;
  }
  return sum <= most * static_cast<double>(wanted.size()) ? "" : "decodes to another picture";
}

}  // namespace tkmjpg::tool
