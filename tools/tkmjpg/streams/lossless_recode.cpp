#include "tools/tkmjpg/streams/lossless_recode.h"

#include <algorithm>

#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "frame/marker_segments.h"
#include "tools/tkmjpg/streams/coefficient_reader.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMostImages = 2;
// Each of 64 coefficients has a code of up to 16 bits and 11 more at most, and each byte of that
// may be a stuffed one.
constexpr size_t kMostMcuBytes = 4 * 64 * 27 / 8 * 2;

// One image after what `out` holds.
class ImageRecoder {
 public:
  ImageRecoder(std::span<const uint8_t> frame, const ImageAnalysis& image, Bytes& out)
      : frame_(frame), image_(image), reader_(frame, image), out_(out) {}

  void Run(RecodedFrame& result) {
    result.refusal = reader_.Refusal();
    if (!result.refusal.empty()) return;
    PutImage();
    if (result.damage.empty()) result.damage = reader_.Damage();
  }

 private:
  void PutImage() {
    const size_t begin = out_.size();
    out_.insert(out_.end(), {0xFF, kSoi});
    PutApplicationHeader();
    PutComments();
    PutQuantTables();
    PutSegment(FrameHeaderSegment(static_cast<uint32_t>(image_.width),
                                  static_cast<uint32_t>(image_.height)));
    PutSegment(ScanHeaderSegment());
    PutScan();
    out_.insert(out_.end(), {0xFF, kEoi});
    if (image_.header != HeaderKind::kJfif) Finish(begin);
  }

  void Append(std::span<const uint8_t> bytes) {
    out_.insert(out_.end(), bytes.begin(), bytes.end());
  }
  void PutSegment(const MarkerSegment& segment) { Append(segment.Bytes()); }

  void PutApplicationHeader() {
    if (image_.header == HeaderKind::kJfif) return CopyJfif();
    PutSegment(Avi1Segment(static_cast<FieldCode>(image_.field_code.value_or(0)), true));
    PutSegment(RestartIntervalSegment(0));
  }

  // Without what says otherwise, the new AVI1 header would make the range limited.
  void PutComments() {
    for (const Segment& segment : image_.segments) {
      if (segment.marker != kCom || segment.end > image_.scan_begin) continue;
      Append(frame_.subspan(segment.offset, segment.end - segment.offset));
    }
    const bool marked = image_.marks.limited || image_.marks.full;
    if (marked || image_.IsLimitedRange() || image_.header == HeaderKind::kJfif) return;
    ImageMarks full;
    full.full = true;
    Append(MarkSegments(full));
  }

  void CopyJfif() {
    const auto is_jfif = [&](const Segment& s) {
      return s.marker == kApp0 && s.end - s.payload >= 7 && frame_[s.payload] == 'J';
    };
    const Segment& jfif = *std::ranges::find_if(image_.segments, is_jfif);
    Append(frame_.subspan(jfif.offset, jfif.end - jfif.offset));
  }

  void PutQuantTables() {
    const NumberedQuantTable tables[] = {{0, image_.QuantStepsOf(0)}, {1, image_.QuantStepsOf(1)}};
    PutSegment(QuantTablesSegment(tables));
  }

  void PutScan() {
    EntropyOutput output;
    output.output_position = out_.size();
    std::vector<McuBlocks> mcus(reader_.Columns());
    for (size_t row = 0; row < reader_.Rows(); ++row) {
      reader_.ReadRow(row, mcus);
      PutMcus(output, mcus);
    }
    FlushBits(output);
    out_.resize(output.output_position);
  }

  void PutMcus(EntropyOutput& output, std::span<const McuBlocks> mcus) {
    const size_t wanted = output.output_position + mcus.size() * kMostMcuBytes + 16;
    if (out_.size() < wanted) out_.resize(wanted + wanted / 2);
    output.output_start = out_.data();
    output.output_capacity = static_cast<uint32_t>(std::min<size_t>(out_.size(), UINT32_MAX));
    for (const McuBlocks& mcu : mcus) {
      for (size_t b = 0; b < 4; ++b) PutBlock(output, mcu[b], b < 2 ? 0 : b - 1);
    }
  }

  void PutBlock(EntropyOutput& output, const std::array<int16_t, 64>& block, size_t component) {
    const bool luma = component == 0;
    EncodeBlock(output, block.data(), last_dc_[component], luma ? kDcLumaCodes : kDcChromaCodes,
                luma ? kAcLumaCodes : kAcChromaCodes);
    last_dc_[component] = block[0];
  }

  // The fill and the size fields as the encoder has them.
  void Finish(size_t begin) {
    const size_t data_size = out_.size() - begin;
    out_.resize(out_.size() + FillSize(out_.size()), 0xFF);
    std::ranges::copy(SizeFieldBytes(out_.size() - begin, data_size),
                      out_.begin() + static_cast<ptrdiff_t>(begin + 2 + kSizeFieldsOffset));
  }

  std::span<const uint8_t> frame_;
  const ImageAnalysis& image_;
  CoefficientReader reader_;
  Bytes& out_;
  std::array<int32_t, 3> last_dc_{};
};

}  // namespace

RecodedFrame RecodeFrame(std::span<const uint8_t> frame, const FrameAnalysis& analysis) {
  RecodedFrame result;
  const auto copy = [&](size_t begin, size_t end) {
    result.stream.insert(result.stream.end(), frame.begin() + static_cast<ptrdiff_t>(begin),
                         frame.begin() + static_cast<ptrdiff_t>(end));
  };
  for (size_t i = 0; i < std::min(analysis.images.size(), kMostImages); ++i) {
    const ImageAnalysis& image = analysis.images[i];
    if (!RefusalOf(image).empty()) {
      copy(image.begin, image.end);
      continue;
    }
    ImageRecoder(frame, image, result.stream).Run(result);
    if (!result.refusal.empty()) return result;
  }
  if (analysis.alpha_offset != 0) copy(analysis.alpha_offset, frame.size());
  return result;
}

}  // namespace tkmjpg::tool
