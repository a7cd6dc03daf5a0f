#include "tools/tkmjpg/streams/stream_repair.h"

#include <algorithm>
#include <array>
#include <optional>

#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/huffman_tables.h"
#include "tools/tkmjpg/streams/lossless_recode.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMostImages = 2;

bool IsHusk(const ImageAnalysis& image) { return image.scan_begin == 0 || image.sof == 0; }

class FrameRepair {
 public:
  FrameRepair(std::span<const uint8_t> frame, std::optional<HuffmanRepair> huffman)
      : frame_(frame), huffman_(huffman) {}

  RepairedFrame Run() {
    const FrameAnalysis analysis = AnalyseFrame(frame_);
    size_t kept = 0;
    for (const ImageAnalysis& image : analysis.images) {
      if (IsHusk(image) || images_ == kMostImages) continue;
      Copy(image);
      kept += image.end - image.begin;
      ++images_;
    }
    if (images_ > 0 && analysis.alpha_offset != 0) {
      Append(analysis.alpha_offset, frame_.size());
      kept += frame_.size() - analysis.alpha_offset;
    }
    result_.bytes_dropped = frame_.size() - kept;
    return std::move(result_);
  }

 private:
  Bytes& Out() { return result_.stream; }

  void Append(size_t begin, size_t end) {
    Out().insert(Out().end(), frame_.begin() + static_cast<ptrdiff_t>(begin),
                 frame_.begin() + static_cast<ptrdiff_t>(end));
  }

  void Copy(const ImageAnalysis& image) {
    if (image.sof != kSof0) return Append(image.begin, image.end);  // not to be meddled with
    const size_t begin = Out().size();
    std::optional<size_t> size_fields;
    Out().insert(Out().end(), {0xFF, kSoi});
    for (const Segment& segment : image.segments) {
      if (segment.end > image.scan_begin) break;  // damage behind the scan
      if (image.sizes && segment.payload + 6 == image.sizes->offset) {
        size_fields = Out().size() + (image.sizes->offset - segment.offset);
      }
      CopySegment(image, segment);
    }
    Append(image.scan_begin, image.data_end);
    if (!image.complete) Complete(image.data_end - image.scan_begin);
    const size_t data_size = Out().size() - begin;
    AppendFill(image, data_size);
    if (size_fields) Mend(*size_fields, Out().size() - begin, data_size);
  }

  void CopySegment(const ImageAnalysis& image, const Segment& segment) {
    const bool remove = huffman_ == HuffmanRepair::kRemove && segment.marker == kDht &&
                        image.huffman == HuffmanTables::kStandard;
    const bool renew = huffman_ == HuffmanRepair::kAdd && WantsStandardTables(image);
    if (remove || (renew && segment.marker == kDht)) {
      result_.tables_changed = true;
      return;
    }
    if (segment.marker == kSos && huffman_ == HuffmanRepair::kAdd) {
      AddTables(renew ? std::span<const Segment>() : image.segments);
    }
    Append(segment.offset, segment.end);
    if (segment.marker == kSos && renew) SelectStandardTables(segment.end - segment.payload);
  }

  // Those that are not in the segments.
  void AddTables(std::span<const Segment> segments) {
    const Bytes missing = MissingHuffmanTables(frame_, segments);
    Out().insert(Out().end(), missing.begin(), missing.end());
    result_.tables_changed |= !missing.empty();
  }

  // An image whose codes are the standard ones, but which does not hold all of their tables.
  bool WantsStandardTables(const ImageAnalysis& image) const {
    return RefusalOf(image).empty() && image.other_shape.empty() &&
           (image.huffman != HuffmanTables::kStandard ||
            !MissingHuffmanTables(frame_, image.segments).empty());
  }

  // What no decoder had to read, as long as there were no tables to choose from.
  void SelectStandardTables(size_t scan_header_size) {
    const auto header = Out().end() - static_cast<ptrdiff_t>(scan_header_size);
    header[2] = 0x00;
    header[4] = header[6] = 0x11;
  }

  void Complete(size_t scan_size) {
    if (scan_size > 0 && Out().back() == 0xFF) Out().pop_back();  // half a marker
    Out().insert(Out().end(), {0xFF, kEoi});
    result_.completed = true;
  }

  // The fill as it was; or, where the image changed its length, as the encoder has it: at least 8
  // bytes, up to a multiple of 8 from the start of the frame.
  void AppendFill(const ImageAnalysis& image, size_t data_size) {
    size_t fill = image.Fill();
    if (fill >= 8 && data_size != image.data_end - image.begin) {
      fill = 8 + (8 - Out().size() % 8) % 8;
    }
    Out().resize(Out().size() + fill, 0xFF);
  }

  void Mend(size_t at, size_t image_size, size_t data_size) {
    std::array<uint8_t, 8> fields{};
    for (size_t i = 0; i < 4; ++i) {
      fields[i] = static_cast<uint8_t>(image_size >> (24 - 8 * i));
      fields[4 + i] = static_cast<uint8_t>(data_size >> (24 - 8 * i));
    }
    const auto place = Out().begin() + static_cast<ptrdiff_t>(at);
    if (std::equal(fields.begin(), fields.end(), place)) return;
    std::ranges::copy(fields, place);
    result_.sizes_mended = true;
  }

  std::span<const uint8_t> frame_;
  std::optional<HuffmanRepair> huffman_;  // none: the tables stay as they are
  size_t images_ = 0;
  RepairedFrame result_;
};

RepairedFrame RepairImages(std::span<const uint8_t> frame, const FrameAnalysis& analysis,
                           HuffmanRepair huffman) {
  if (!analysis.NeedsRecoding()) return FrameRepair(frame, huffman).Run();
  const RecodedFrame recoded = RecodeFrame(frame, analysis);
  RepairedFrame result = FrameRepair(recoded.stream, huffman).Run();
  result.recoded = true;
  result.sizes_mended = false;  // they are new
  result.completed = !analysis.images.back().complete;
  result.bytes_dropped = analysis.leading + analysis.trailing;
  return result;
}

}  // namespace

RepairedFrame RepairFrame(std::span<const uint8_t> frame, HuffmanRepair huffman) {
  const FrameAnalysis analysis = AnalyseFrame(frame);
  if (std::ranges::none_of(analysis.images, IsHusk)) return RepairImages(frame, analysis, huffman);
  // Whether the images behind a husk can be decoded shows only without it.
  const RepairedFrame kept = FrameRepair(frame, std::nullopt).Run();
  RepairedFrame result = RepairImages(kept.stream, AnalyseFrame(kept.stream), huffman);
  result.sizes_mended |= kept.sizes_mended;
  result.completed |= kept.completed;
  result.bytes_dropped += kept.bytes_dropped;
  return result;
}

}  // namespace tkmjpg::tool
