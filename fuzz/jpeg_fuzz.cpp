// Frames of any kind of JPEG to pictures: nothing outside the stream is read, the picture depends
// on the stream alone, and what is coded again is an undamaged frame of this codec.
#include <algorithm>

#include "fuzz/fuzz_support.h"
#include "tools/tkmjpg/commands/code_again.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace {

using tkmjpg::tool::Chroma;
using tkmjpg::tool::DecodedFrame;
using tkmjpg::tool::FrameAnalysis;
using tkmjpg::tool::FrameDecoder;
using tkmjpg::tool::Picture;

constexpr int kMostPixels = 1 << 18;

struct Target {
  uint32_t layout;
  Chroma chroma;
};
constexpr Target kTargets[] = {
    {0, Chroma::kMono},          {0, Chroma::k411},           {0, Chroma::k420},
    {0, Chroma::k444},           {TKMJPG_YuYv, Chroma::k422}, {TKMJPG_UYVY, Chroma::k422},
    {TKMJPG_BGR3, Chroma::k422}, {TKMJPG_bgra, Chroma::k422}, {TKMJPG_R565, Chroma::k422}};
constexpr uint32_t kFlags[] = {TKMJPG_D_FULL_RANGE, TKMJPG_D_INVERT_FIELDS, TKMJPG_D_ONE_FIELD,
                               TKMJPG_D_ONE_FIELD_SMART, TKMJPG_D_USE_AVI1_MARKERS};

void Decode(std::span<const uint8_t> frame, int width, int height, Arguments& arguments) {
  const Target& target = DrawFrom(arguments, kTargets);
  const FrameDecoder decoder(width, height, target.layout, DrawFlags(arguments, kFlags),
                             target.chroma);
  Picture first, second;
  second.pixels.assign(size_t{4} * static_cast<size_t>(width) * static_cast<size_t>(height), 0x5A);
  const DecodedFrame a = decoder.Decode(frame, 256, first);
  const DecodedFrame b = decoder.Decode(frame, 256, second);
  const bool same = std::ranges::equal(a.damage, b.damage, {}, &tkmjpg::tool::Damage::what,
                                       &tkmjpg::tool::Damage::what);
  Require(a.refusal == b.refusal && same, "the same words for the same frame");
  if (!a.refusal.empty()) return;
  Require(first.pixels == second.pixels, "the picture depends on the stream alone");
}

void CodeAgain(std::span<const uint8_t> frame) {
  const tkmjpg::tool::CodedAgain coded = tkmjpg::tool::CodeAgain(frame);
  if (!coded.refusal.empty()) return;
  const FrameAnalysis analysis = tkmjpg::tool::AnalyseFrame(coded.stream);
  Require(analysis.refusal.empty() && analysis.OtherShape().empty() && analysis.Loss().empty(),
          "what is coded again is the codec's own");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const int more_columns = arguments.ConsumeIntegralInRange(-9, 9);
  const int more_lines = arguments.ConsumeIntegralInRange(-9, 9);
  const GuardedBuffer bytes(Bytes(data, data + size), DrawGuard(arguments));
  const std::span<const uint8_t> frame(bytes.data(), bytes.size());
  const FrameAnalysis analysis = tkmjpg::tool::AnalyseFrame(frame);
  if (analysis.images.empty() || !analysis.refusal.empty()) return 0;
  int64_t pixels = 0;
  for (const auto* image : analysis.Pictures()) {
    pixels = std::max(pixels, int64_t{image->width} * image->height);
  }
  if (pixels > kMostPixels) return 0;
  const int width = std::max(analysis.images[0].width + more_columns, 1);
  const int height = std::max(analysis.PictureHeight() + more_lines, 1);
  if (int64_t{width} * height > 4 * kMostPixels) return 0;
  Decode(frame, width, height, arguments);
  if (analysis.NeedsOtherDecoder() && pixels < kMostPixels / 16) CodeAgain(frame);
  return 0;
}
