#include "tools/tkmjpg/streams/whole_image.h"

#include <algorithm>

#include "frame/marker_segments.h"
#include "tools/tkmjpg/streams/huffman_tables.h"

namespace tkmjpg::tool {
namespace {

constexpr uint8_t kDac = 0xCC;  // arithmetic conditioning

class WholeImageWriter {
 public:
  WholeImageWriter(std::span<const uint8_t> frame, const ImageAnalysis& image)
      : frame_(frame), image_(image) {}

  WholeImage Run() {
    Put({{0xFF, kSoi}});
    PutQuantTables();
    Put(HuffmanTablesFromBefore(frame_, image_));
    PutSegments();
    PutScans();
    return std::move(whole_);
  }

 private:
  void Put(std::span<const uint8_t> bytes) {
    whole_.stream.insert(whole_.stream.end(), bytes.begin(), bytes.end());
  }
  void Put(size_t begin, size_t end) { Put(frame_.subspan(begin, end - begin)); }

  void PutQuantTables() {
    std::vector<NumberedQuantTable> tables;
    for (size_t c = 0; c < std::min<size_t>(image_.components, 3); ++c) {
      const uint32_t number = image_.shape[c].quant_table;
      if (std::ranges::find(tables, number, &NumberedQuantTable::number) == tables.end()) {
        tables.push_back({number, image_.QuantStepsOf(c)});
      }
    }
    Put(QuantTablesSegment(tables).Bytes());
  }

  // Those before the scan, as far as they are what they should be.
  void PutSegments() {
    for (const Segment& segment : image_.segments) {
      if (segment.end > image_.scan_begin) break;
      if (segment.marker == kDht) {
        Put(UsableHuffmanTables(frame_, segment));
      } else if (segment.marker == kSos) {
        if (image_.inherits_restart_interval) PutInterval(image_.interval_before);
        PutScanHeader(segment);
      } else if (segment.marker == kDri && segment.end - segment.payload >= 2) {
        PutInterval(frame_[segment.payload] << 8 | frame_[segment.payload + 1]);
      } else if (segment.marker == image_.sof) {
        Put(segment.offset, segment.end);
        NumberComponents(segment, 6, 3);
      } else if (segment.marker == kDac) {
        Put(segment.offset, segment.end);
      }
    }
  }

  bool HasOneScan() const { return image_.scan_components == image_.components; }

  // In an image of one scan the components are those of the frame header in turn, whatever either
  // calls them. `first` is where the payload that was put last has them.
  void NumberComponents(const Segment& segment, size_t first, size_t step) {
    const size_t size = segment.end - segment.payload;
    if (!HasOneScan() || first + static_cast<size_t>(image_.components) * step > size) return;
    uint8_t* payload = whole_.stream.data() + whole_.stream.size() - size;
    for (int c = 0; c < image_.components; ++c, first += step) {
      payload[first] = static_cast<uint8_t>(c + 1);
    }
  }

  void PutInterval(int mcus) { Put(RestartIntervalSegment(static_cast<uint32_t>(mcus)).Bytes()); }

  // Where there are no Huffman tables at all the numbers of them say nothing.
  void PutScanHeader(const Segment& segment) {
    Put(segment.offset, segment.end);
    NumberComponents(segment, 1, 2);
    const bool none = std::ranges::all_of(image_.huffman_slots.places,
                                          [](const auto& place) { return place.size == 0; });
    if (!none || !image_.IsBaseline()) return;
    const auto header = whole_.stream.end() - static_cast<ptrdiff_t>(segment.end - segment.payload);
    for (ptrdiff_t c = 0; c < image_.components; ++c) header[2 + 2 * c] = c == 0 ? 0x00 : 0x11;
  }

  void PutScans() {
    whole_.shift =
        static_cast<int64_t>(image_.scan_begin) - static_cast<int64_t>(whole_.stream.size());
    const size_t scan = whole_.stream.size();
    Put(image_.scan_begin, image_.data_end - (image_.complete ? 2 : 0));
    if (image_.IsBaseline()) MakeStrayMarkersHarmless(scan);
    Put({{0xFF, kEoi}});
  }

  // A marker that has no place in a scan ends what can be read before the next restart, no more.
  void MakeStrayMarkersHarmless(size_t scan) {
    constexpr uint8_t kTem = 0x01;  // means nothing
    std::vector<uint8_t>& bytes = whole_.stream;
    for (size_t i = scan; i + 1 < bytes.size(); ++i) {
      const uint8_t code = bytes[i + 1];
      if (bytes[i] != 0xFF || code == 0x00 || code == 0xFF) continue;
      if (code < kRst0 || code >= kRst0 + 8) bytes[i + 1] = kTem;
    }
  }

  std::span<const uint8_t> frame_;
  const ImageAnalysis& image_;
  WholeImage whole_;
};

}  // namespace

WholeImage MakeWholeImage(std::span<const uint8_t> frame, const ImageAnalysis& image) {
  return WholeImageWriter(frame, image).Run();
}

}  // namespace tkmjpg::tool
