#include "tools/tkmjpg/streams/stream_analysis.h"

#include <algorithm>
#include <cstring>

#include "frame/stream_format.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kMaxImages = 16;  // of a frame; two make sense

// Where the first image begins: after bytes that are no 0xFF, and 0xFF fill. frame.size() if the
// first marker is another one.
size_t FindFirstImage(Bytes frame) {
  size_t at = 0;
  while (at < frame.size() && frame[at] != 0xFF) ++at;
  while (at + 1 < frame.size() && frame[at + 1] == 0xFF) ++at;
  return at + 1 < frame.size() && frame[at + 1] == kSoi ? at : frame.size();
}

bool IsAlphaSegment(Bytes frame, size_t at) {
  constexpr uint8_t kHead[8] = {0xFF, kApp1, 0x00, 0x08, 'A', 'L', 'P', 'H'};
  return at + 10 <= frame.size() && std::memcmp(&frame[at], kHead, sizeof kHead) == 0;
}

// Frame headers of the processes that libjpeg-turbo has.
bool IsKnownProcess(uint8_t sof) {
  return sof == kSof0 || sof == 0xC1 || sof == 0xC2 || sof == 0xC9 || sof == 0xCA;
}

bool IsArithmetic(uint8_t sof) { return sof >= 0xC9; }

std::string RefusalOfFrameHeader(const ImageAnalysis& image) {
  if (!IsKnownProcess(image.sof)) {
    return "image of type SOF" + std::to_string(image.sof - kSof0) +
           "; only baseline, progressive and arithmetic ones can be decoded";
  }
  if (image.precision != 8) {
    return "samples of " + std::to_string(image.precision) + " bits; only 8 can be decoded";
  }
  if (image.components != 1 && image.components != 3) {
    return image.sampling + " image; only 1 and 3 components can be decoded";
  }
  return {};
}

bool ScanHeaderIsWhole(const ImageAnalysis& image) {
  const Segment& scan = *std::ranges::find(image.segments, kSos, &Segment::marker);
  const int known = image.scan_components;
  return known >= 1 && known <= image.components &&
         scan.end - scan.payload >= 4 + 2 * static_cast<size_t>(known);
}

// Images in a shape that the decoder never takes are smaller.
bool IsTooLargeForOthers(const ImageAnalysis& image) {
  constexpr int kMostLines = 65500;
  constexpr int64_t kMostPixels = int64_t{1} << 28;
  if (image.loss.empty() && image.other_shape.empty()) return false;
  return std::max(image.width, image.height) > kMostLines ||
         int64_t{image.width} * image.height > kMostPixels;
}

class FrameWalk {
 public:
  explicit FrameWalk(Bytes bytes) : bytes_(bytes) { frame_.size = bytes.size(); }

  FrameAnalysis Run() {
    size_t at = FindFirstImage(bytes_);
    if (at == bytes_.size()) {
      frame_.refusal = bytes_.empty() ? "empty" : "no image begins here";
      frame_.problems.push_back(frame_.refusal);
      return std::move(frame_);
    }
    frame_.leading = at;
    while (at < bytes_.size() && frame_.images.size() < kMaxImages) at = TakeImage(at);
    Judge();
    return std::move(frame_);
  }

 private:
  // Returns where the next image begins, or the end.
  size_t TakeImage(size_t begin) {
    const ImageAnalysis* before = frame_.images.empty() ? nullptr : &frame_.images.back();
    frame_.images.push_back(AnalyseImage(bytes_, begin, before));
    const size_t end = frame_.images.back().end;
    if (IsAlphaSegment(bytes_, end)) {
      frame_.alpha_offset = end;
      return bytes_.size();
    }
    const size_t next = FindImage(bytes_, end);
    if (next == bytes_.size()) frame_.trailing = next - end;
    return next;
  }

  void Judge() {
    const ImageAnalysis& first = frame_.images[0];
    frame_.refusal = RefusalOf(first);
    // The decoder would take the first image's frame header for it.
    if (frame_.refusal.empty() && frame_.IsFieldPair() && frame_.images[1].sof != kSof0 &&
        frame_.images[1].sof != 0 && !RefusalOf(frame_.images[1]).empty()) {
      frame_.refusal = "image 2: " + RefusalOf(frame_.images[1]);
    }
    if (!frame_.refusal.empty()) frame_.problems.push_back(frame_.refusal);
    if (frame_.leading != 0) Problem(std::to_string(frame_.leading) + " bytes before the image");
    for (size_t i = 0; i < frame_.images.size(); ++i) JudgeImage(i);
    if (frame_.images.size() > 2) Problem(std::to_string(frame_.images.size()) + " images");
  }

  void JudgeImage(size_t i) {
    const ImageAnalysis& image = frame_.images[i];
    const std::string name = frame_.IsFieldPair() ? "image " + std::to_string(i + 1) + ": " : "";
    if (!image.problem.empty() && image.problem != frame_.refusal) Problem(name + image.problem);
    if (image.sizes && !image.sizes->right) Problem(name + "wrong size fields");
    if (i == 0 && image.scan_begin != 0 && image.other_shape.empty() && image.loss.empty() &&
        !(image.quant.defined[0] && image.quant.defined[1])) {
      Problem(name + "no quantisation tables 0 and 1");
    }
    if (i == 1) JudgeSecond(frame_.images[0], image);
  }

  void JudgeSecond(const ImageAnalysis& first, const ImageAnalysis& second) {
    const std::string refusal = RefusalOf(second);
    if (!refusal.empty() && refusal != second.problem && "image 2: " + refusal != frame_.refusal) {
      Problem("image 2: " + refusal);
    }
    if (first.width != second.width || first.height != second.height) {
      Problem("images of different size");
    }
    if (first.field_code && first.field_code == second.field_code) {
      Problem("field code " + std::to_string(*first.field_code) + " twice");
    }
  }

  void Problem(const std::string& text) { frame_.problems.push_back(text); }

  Bytes bytes_;
  FrameAnalysis frame_;
};

}  // namespace

std::string RefusalOf(const ImageAnalysis& image) {
  if (image.sof == 0) return image.problem.empty() ? "no frame header" : image.problem;
  if (std::string refusal = RefusalOfFrameHeader(image); !refusal.empty()) return refusal;
  if (image.scan_begin == 0) return "no scan";
  if (!ScanHeaderIsWhole(image)) return "a scan header that is too short";
  if (image.width == 0 || image.height == 0) return "an image without pixels";
  if (image.SizeIsImpossible() || IsTooLargeForOthers(image)) {
    return std::to_string(image.width) + "x" + std::to_string(image.height) + " pixels in " +
           std::to_string(image.data_end - image.scan_begin) + " bytes of data";
  }
  return image.refusal;
}

bool ImageAnalysis::IsBaseline() const {
  return sof == kSof0 && (scan_components == components || scan_components == 0);
}

bool ImageAnalysis::HasItsQuantTables() const {
  return std::ranges::all_of(shape, [&](const ComponentShape& c) {
    return c.quant_table <= 3 && quant.defined[c.quant_table];
  });
}

const std::array<uint16_t, 64>& ImageAnalysis::QuantStepsOf(size_t component) const {
  if (HasItsQuantTables()) return quant.values[shape[component].quant_table];
  return quant.values[component == 0 ? 0 : 1];
}

bool ImageAnalysis::IsLimitedRange() const {
  if (marks.limited || marks.full) return marks.limited;
  return header == HeaderKind::kAvi1 && mode >= 0;
}

bool IsWholeHeight(const ImageAnalysis& image, int height) {
  return height > 0 && 4 * int64_t{image.height} > 3 * int64_t{height};
}

size_t ImageAnalysis::Mcus() const {
  return (static_cast<size_t>(width) + 15) / 16 * ((static_cast<size_t>(height) + 7) / 8);
}

// A block has two codes, of one bit at least; four of them, or two without chroma, make 16 by 8
// pixels. In a progressive scan of DC coefficients it has one, and arithmetic codes have no
// smallest size. A size of 16 million pixels is believed anyway, as the end of the data may be
// missing.
bool ImageAnalysis::SizeIsImpossible() const {
  constexpr size_t kBelievedMcus = 1 << 17;
  const size_t most_of_a_byte = IsArithmetic(sof)     ? 1 << 10
                                : !IsBaseline()       ? 4
                                : sampling != "4:2:2" ? 2
                                                      : 1;
  return Mcus() > kBelievedMcus && Mcus() / most_of_a_byte > data_end - scan_begin;
}

std::vector<const ImageAnalysis*> FrameAnalysis::Pictures() const {
  std::vector<const ImageAnalysis*> pictures;
  for (const ImageAnalysis& image : images) {
    if (image.HasScan() && pictures.size() < 2) pictures.push_back(&image);
  }
  return pictures;
}

const std::string& FrameAnalysis::FirstOf(std::string ImageAnalysis::*what) const {
  static const std::string kNone;
  const auto has = [&](const ImageAnalysis& image) {
    return !(image.*what).empty() && RefusalOf(image).empty();
  };
  const auto end = images.begin() + static_cast<ptrdiff_t>(std::min<size_t>(images.size(), 2));
  const auto found = std::find_if(images.begin(), end, has);
  return found == end ? kNone : (*found).*what;
}

const std::string& FrameAnalysis::OtherShape() const {
  return FirstOf(&ImageAnalysis::other_shape);
}
const std::string& FrameAnalysis::Loss() const { return FirstOf(&ImageAnalysis::loss); }

int FrameAnalysis::PictureHeight() const {
  const bool fields = IsFieldPair() || HasFieldCode();
  return fields ? 2 * images[0].height : images[0].height;
}

size_t FindImage(Bytes frame, size_t from) {
  for (size_t at = from; at + 3 <= frame.size(); ++at) {
    const void* mark = std::memchr(&frame[at], 0xFF, frame.size() - at);
    if (mark == nullptr) break;
    at = static_cast<size_t>(static_cast<const uint8_t*>(mark) - frame.data());
    if (at + 3 <= frame.size() && frame[at + 1] == kSoi && frame[at + 2] == 0xFF) return at;
  }
  return frame.size();
}

FrameAnalysis AnalyseFrame(Bytes frame) { return FrameWalk(frame).Run(); }

}  // namespace tkmjpg::tool
