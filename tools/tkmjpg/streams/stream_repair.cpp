#include "tools/tkmjpg/streams/stream_repair.h"

#include <algorithm>
#include <functional>
#include <optional>

#include "frame/marker_segments.h"
#include "tools/tkmjpg/streams/huffman_tables.h"
#include "tools/tkmjpg/streams/lossless_recode.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::vector<uint8_t>;

// What becomes of the headers of one image.
struct HeaderChanges {
  bool drop_huffman_tables = false;
  bool select_standard_tables = false;
  Bytes added;  // segments before SOS
};

bool CodesAreStandard(std::span<const uint8_t> frame, const ImageAnalysis& image) {
  for (size_t c = 0; c < 3; ++c) {
    if (!TablesOfComponent(frame, image, c).standard) return false;
  }
  return true;
}

bool InheritsHuffmanTables(const ImageAnalysis& image) {
  return std::ranges::any_of(image.huffman_slots.inherited, std::identity());
}

void Put(Bytes& out, const MarkerSegment& segment) {
  out.insert(out.end(), segment.Bytes().begin(), segment.Bytes().end());
}

void PutInheritedQuantTables(Bytes& out, const ImageAnalysis& image) {
  std::vector<NumberedQuantTable> tables;
  for (uint32_t t = 0; t < 4; ++t) {
    const bool used = t < 2 || std::ranges::any_of(image.shape, [&](const ComponentShape& c) {
                        return c.quant_table == t;
                      });
    if (used && image.quant.inherited[t]) tables.push_back({t, image.quant.values[t]});
  }
  if (!tables.empty()) Put(out, QuantTablesSegment(tables));
}

class FrameRepair {
 public:
  FrameRepair(std::span<const uint8_t> frame, std::optional<HuffmanRepair> huffman)
      : frame_(frame), huffman_(huffman) {}

  RepairedFrame Run() {
    const FrameAnalysis analysis = AnalyseFrame(frame_);
    size_t kept = 0;
    for (const ImageAnalysis* image : analysis.Pictures()) {
      Copy(*image);
      kept += image->end - image->begin;
    }
    if (kept > 0 && analysis.alpha_offset != 0) {
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
    if (!image.IsBaseline()) {  // not to be meddled with
      others_in_force_ |= image.huffman == HuffmanTables::kOther;
      interval_in_force_ = image.restart_interval.value_or(interval_in_force_);
      return Append(image.begin, image.end);
    }
    const size_t begin = Out().size();
    const std::optional<size_t> size_fields = CopyHeaders(image, ChangesOf(image));
    Append(image.scan_begin, image.data_end);
    if (!image.complete) Complete(image.data_end - image.scan_begin);
    const size_t data_size = Out().size() - begin;
    AppendFill(image, data_size);
    if (size_fields) FixSizes(*size_fields, Out().size() - begin, data_size);
  }

  // Returns where the size fields are now, if there are any.
  std::optional<size_t> CopyHeaders(const ImageAnalysis& image, const HeaderChanges& changes) {
    std::optional<size_t> size_fields;
    Out().insert(Out().end(), {0xFF, kSoi});
    for (const Segment& segment : image.segments) {
      if (segment.end > image.scan_begin) break;  // damage after the scan
      if (segment.marker == kDht && changes.drop_huffman_tables) {
        result_.tables_changed = true;
        continue;
      }
      if (segment.marker == kSos) PutAdded(changes.added);
      if (image.sizes && segment.offset + kSizeFieldsOffset == image.sizes->offset) {
        size_fields = Out().size() + kSizeFieldsOffset;
      }
      Append(segment.offset, segment.end);
      if (segment.marker == kSos && changes.select_standard_tables) {
        SelectStandardTables(segment.end - segment.payload);
      }
    }
    return size_fields;
  }

  void PutAdded(const Bytes& added) {
    Out().insert(Out().end(), added.begin(), added.end());
    result_.tables_changed |= !added.empty();
  }

  // An image that takes tables or an interval from the image before gets its own: not every reader
  // keeps them.
  HeaderChanges ChangesOf(const ImageAnalysis& image) {
    HeaderChanges changes;
    PutInheritedQuantTables(changes.added, image);
    const bool has_its_own = image.restart_interval && !image.inherits_restart_interval;
    const int interval = image.restart_interval.value_or(0);
    if (!has_its_own && (interval != 0 || interval_in_force_ != 0)) {
      Put(changes.added, RestartIntervalSegment(static_cast<uint32_t>(interval)));
    }
    interval_in_force_ = interval;
    if (huffman_ == HuffmanRepair::kAdd && WantsStandardTables(image)) {
      changes.drop_huffman_tables = changes.select_standard_tables = true;
      Put(changes.added, HuffmanTablesSegment(kStandardHuffmanTables));
      return changes;
    }
    const bool standard = CodesAreStandard(frame_, image);
    changes.drop_huffman_tables = huffman_ == HuffmanRepair::kRemove && !others_in_force_ &&
                                  image.huffman == HuffmanTables::kStandard && standard;
    const bool takes_others = !standard && InheritsHuffmanTables(image);
    if (huffman_ == HuffmanRepair::kAdd || others_in_force_ || takes_others) {
      const Bytes missing = MissingHuffmanTables(frame_, image);
      changes.added.insert(changes.added.end(), missing.begin(), missing.end());
    }
    others_in_force_ |= takes_others || image.huffman == HuffmanTables::kOther;
    return changes;
  }

  // An image whose codes are the standard ones, but which does not hold all of their tables.
  bool WantsStandardTables(const ImageAnalysis& image) const {
    return RefusalOf(image).empty() && image.loss.empty() && image.other_shape.empty() &&
           (image.huffman != HuffmanTables::kStandard ||
            !MissingHuffmanTables(frame_, image).empty());
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

  // The fill as it was; or, where the image changed its length, as the encoder has it.
  void AppendFill(const ImageAnalysis& image, size_t data_size) {
    size_t fill = image.Fill();
    if (fill >= 8 && data_size != image.data_end - image.begin) fill = FillSize(Out().size());
    Out().resize(Out().size() + fill, 0xFF);
  }

  void FixSizes(size_t at, size_t image_size, size_t data_size) {
    const auto fields = SizeFieldBytes(image_size, data_size);
    const auto place = Out().begin() + static_cast<ptrdiff_t>(at);
    if (std::equal(fields.begin(), fields.end(), place)) return;
    std::ranges::copy(fields, place);
    result_.sizes_fixed = true;
  }

  std::span<const uint8_t> frame_;
  std::optional<HuffmanRepair> huffman_;  // none: the tables stay as they are
  // What the next image would inherit: Huffman tables that are not the standard ones, an interval.
  bool others_in_force_ = false;
  int interval_in_force_ = 0;
  RepairedFrame result_;
};

bool CanRecode(const FrameAnalysis& analysis) {
  return analysis.NeedsRecoding() &&
         std::ranges::all_of(analysis.Pictures(),
                             [](const ImageAnalysis* image) { return RefusalOf(*image).empty(); });
}

RepairedFrame RepairImages(std::span<const uint8_t> frame, const FrameAnalysis& analysis,
                           HuffmanRepair huffman) {
  if (!CanRecode(analysis)) {
    RepairedFrame result = FrameRepair(frame, huffman).Run();
    result.loss = analysis.Loss();
    return result;
  }
  const RecodedFrame recoded = RecodeFrame(frame, analysis);
  if (!recoded.refusal.empty()) {  // with other tables it might be read, as something else
    RepairedFrame kept = FrameRepair(frame, std::nullopt).Run();
    kept.damage = recoded.refusal;
    return kept;
  }
  RepairedFrame result = FrameRepair(recoded.stream, huffman).Run();
  result.recoded = true;
  result.damage = recoded.damage;
  result.sizes_fixed = false;  // they are new
  result.completed = !analysis.images.back().complete;
  result.bytes_dropped = analysis.leading + analysis.trailing;
  return result;
}

}  // namespace

RepairedFrame RepairFrame(std::span<const uint8_t> frame, HuffmanRepair huffman) {
  const FrameAnalysis analysis = AnalyseFrame(frame);
  if (std::ranges::all_of(analysis.images, &ImageAnalysis::HasScan)) {
    return RepairImages(frame, analysis, huffman);
  }
  // Whether the images after one without a scan can be decoded shows only without that one.
  const RepairedFrame kept = FrameRepair(frame, std::nullopt).Run();
  RepairedFrame result = RepairImages(kept.stream, AnalyseFrame(kept.stream), huffman);
  result.sizes_fixed |= kept.sizes_fixed;
  result.completed |= kept.completed;
  result.bytes_dropped += kept.bytes_dropped;
  return result;
}

}  // namespace tkmjpg::tool
