#include "decoder/field_reconstruction.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "decoder/image_decoder.h"
#include "decoder/stream_parser.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// Nine lines of finished pixels: a band, and one more that carries a line over to the next band.
class ScratchLines {
 public:
  static constexpr int kLines = 9;

  explicit ScratchLines(size_t line_bytes)
      : line_bytes_(line_bytes),
        step_((line_bytes + kAlignment - 1) & ~(kAlignment - 1)),
        block_(std::malloc(kLines * step_ + kAlignment - 1), &std::free) {
    void* start = block_.get();
    size_t space = kLines * step_ + kAlignment - 1;
    if (start != nullptr) {
      first_ = static_cast<uint8_t*>(std::align(kAlignment, kLines * step_, start, space));
    }
  }
  bool Refused() const { return first_ == nullptr; }
  size_t LineBytes() const { return line_bytes_; }
  uint8_t* Line(int i) const { return first_ + static_cast<size_t>(i) * step_; }

 private:
  static constexpr size_t kAlignment = 32;
  size_t line_bytes_, step_;
  std::unique_ptr<void, decltype(&std::free)> block_;
  uint8_t* first_ = nullptr;
};

// Each line of the field goes to two lines of the frame.
class DoubledLines final : public BandSink {
 public:
  DoubledLines(const ScratchLines& scratch, const FrameTarget& target)
      : scratch_(scratch), target_(target) {}
  BandRows Next(int /*first*/, int count) override {
    BandRows band;
    band.count = count;
    for (int i = 0; i < count; ++i) band.rows[i] = scratch_.Line(i);
    return band;
  }
  void Done(int first, int count) override {
    for (int i = 0; i < count; ++i) {
      uint8_t* even = target_.out + 2 * (first + i) * target_.stride;
      std::memcpy(even, scratch_.Line(i), scratch_.LineBytes());
      std::memcpy(even + target_.stride, scratch_.Line(i), scratch_.LineBytes());
    }
  }

 private:
  const ScratchLines& scratch_;
  const FrameTarget& target_;
};

// Odd frame lines are the field's; an even one is the mean of its neighbours, byte by byte. The top
// line is its own predecessor.
class InterpolatedLines final : public BandSink {
 public:
  InterpolatedLines(const ScratchLines& scratch, const FrameTarget& target)
      : scratch_(scratch), target_(target) {}
  BandRows Next(int first, int count) override {
    if (first == 0) {
      for (int i = 0; i < 10; ++i) lines_[i] = scratch_.Line(std::max(i - 1, 0));
    }
    BandRows band;
    band.count = count;
    for (int i = 0; i < count; ++i) band.rows[i] = lines_[i + 1];
    return band;
  }
  void Done(int first, int count) override {
    for (int i = 0; i < count; ++i) {
      uint8_t* even = target_.out + 2 * (first + i) * target_.stride;
      WriteMean(lines_[i], lines_[i + 1], even);
      std::memcpy(even + target_.stride, lines_[i + 1], scratch_.LineBytes());
    }
    lines_[0] = lines_[8];
    std::swap(lines_[8], lines_[9]);
  }

 private:
  void WriteMean(const uint8_t* a, const uint8_t* b, uint8_t* out) const {
    for (size_t i = 0; i < scratch_.LineBytes(); ++i) {
      out[i] = static_cast<uint8_t>((a[i] + b[i]) / 2);
    }
  }

  const ScratchLines& scratch_;
  const FrameTarget& target_;
  // lines_[i + 1] receives line i of a band, lines_[0] holds the line before the band.
  std::array<uint8_t*, 10> lines_{};
};

// Fills all lines of the frame from the prepared image. False when a restart marker is wrong or
// there is no memory for the scratch lines.
bool RebuildFrameFromField(DecoderContext& context, const FrameTarget& target, bool smart) {
  if (context.width == 0) return true;
  const ScratchLines scratch(size_t{BytesPerPixel(context.pixel_format)} *
                             static_cast<size_t>(context.width));
  if (scratch.Refused()) return false;
  DoubledLines doubled(scratch, target);
  InterpolatedLines interpolated(scratch, target);
  // The mean of 16-bit pixels' bytes would be no colour between them.
  const PixelLayout* layout = FindPixelLayout(context.pixel_format);
  if (smart && layout->kind != PixelKind::kRgb16) return DecodeImage(context, interpolated);
  return DecodeImage(context, doubled);
}

// The next SOI after the first image, null if none: raw bytes, any fill may stand between.
const uint8_t* FindSecondImage(const EntropyInput& input) {
  constexpr uint8_t kStart[2] = {0xFF, kSoi};
  if (input.data_end - input.read_pos <= 2) return nullptr;
  // A pair in the last two bytes does not count.
  const uint8_t* const limit = input.data_end - 1;
  const uint8_t* found = std::search(input.read_pos, limit, kStart, kStart + 2);
  return found == limit ? nullptr : found;
}

// Decodes the second image into the lines that the first one left. When there is none, the first
// is decoded once more, unless the last frame had no second one either: then the frame has been
// rebuilt from the first.
void FetchSecondImage(DecoderContext& context, const FrameTarget& target, uint8_t* lines,
                      CodecCarryState* carry) {
  const uint8_t* second = FindSecondImage(context.input);
  const bool missed_before = (carry->decode_flags & 1) != 0;
  carry->decode_flags = second != nullptr ? carry->decode_flags & ~1U : carry->decode_flags | 1;
  context.input.read_pos = second != nullptr ? second : target.data;
  if (second == nullptr && missed_before) return;
  if (second == nullptr) context.sound_images = 0;  // the first one is counted again
  if (StartImage(context) && SetUpImage(context, target.width, target.height / 2)) {
    DecodeImage(context, lines, 2 * target.stride);
  }
}

}  // namespace

void DecodeFieldFrame(DecoderContext& context, const FrameTarget& target,
                      const FieldChoices& choices, CodecCarryState* carry) {
  // No line of an empty picture is ever pointed at.
  const bool empty = target.width == 0 || target.height < 2;
  uint8_t* const odd_lines = empty ? target.out : target.out + target.stride;
  uint8_t* const first = choices.even_first ? target.out : odd_lines;
  uint8_t* const second = choices.even_first ? odd_lines : target.out;
  const bool rebuild = choices.one_field_only || (carry->decode_flags & 1) != 0;
  const bool decoded = rebuild ? RebuildFrameFromField(context, target, choices.smart)
                               : DecodeImage(context, first, 2 * target.stride);
  if (!decoded || choices.one_field_only) return;
  FetchSecondImage(context, target, second, carry);
}

}  // namespace tkmjpg
