// What one frame's stream holds, told from its markers alone. It knows nothing of the decoder, so
// that each can be held against the other.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/streams/image_marks.h"

namespace tkmjpg::tool {

enum class HeaderKind { kNone, kAvi1, kJfif };

// What DHT segments hold; kInherited: there are none, but the image before had some.
enum class HuffmanTables { kNone, kStandard, kOther, kInherited };

struct Segment {
  uint8_t marker = 0;
  size_t offset = 0;   // of its 0xFF, from the start of the frame
  size_t payload = 0;  // of the first byte after the length
  size_t end = 0;
};

// The size fields of a long AVI1 segment: with and without the fill.
struct SizeFields {
  size_t offset = 0;  // where they stand in the frame
  uint32_t image_size = 0;
  uint32_t image_data_size = 0;
  bool right = false;
};

// The tables in force when the scan begins: the image's own or else those of the image before.
struct QuantTables {
  std::array<std::array<uint16_t, 64>, 4> values{};  // by Tq, zig-zag order
  std::array<bool, 4> defined{}, inherited{};
};

// Where they stand in the frame, as DHT stores them, by 4 x Tc + Th.
struct HuffmanSlots {
  struct Place {
    size_t offset = 0, size = 0;  // size 0: not defined
  };
  std::array<Place, 8> places{};
  std::array<bool, 8> inherited{};
};

// What frame header and scan header say of a component.
struct ComponentShape {
  uint8_t h = 0, v = 0;  // sampling factors
  uint8_t quant_table = 0, dc_table = 0, ac_table = 0;
};

struct ImageAnalysis {
  size_t begin = 0;               // SOI
  size_t scan_begin = 0;          // first entropy-coded byte; 0 without SOS
  size_t data_end = 0;            // after EOI, or where the image breaks off
  size_t end = 0;                 // after the fill
  bool complete = false;          // ends with EOI
  std::vector<Segment> segments;  // up to SOS, SOS included
  HeaderKind header = HeaderKind::kNone;
  int mode = -1;                  // header style as `encode --mode` counts, -1 for other writers
  std::optional<int> field_code;  // AVI1 only
  std::optional<SizeFields> sizes;
  ImageMarks marks;
  uint8_t sof = 0;  // marker; 0 if there is none
  int precision = 0, width = 0, height = 0, components = 0;
  std::string sampling;  // "4:2:2"
  std::array<ComponentShape, 3> shape{};
  int scan_components = 0;  // of the first scan
  bool rgb = false;         // in place of Y, Cb, Cr
  // In what it differs from the only shape that the decoder takes. Such an image can be recoded
  // without loss, unless it is refused. Empty: nothing differs.
  std::string other_shape;
  // Why it cannot take that shape without loss; such an image is decoded through libjpeg-turbo.
  // Empty: it can.
  std::string loss;
  std::string refusal;  // why nothing can be made of it
  HuffmanTables huffman = HuffmanTables::kNone;
  HuffmanSlots huffman_slots;
  // Its own, or that of the image before if its scan has restarts: ITU T.81 ends an interval with
  // the image, this codec's decoder does not.
  std::optional<int> restart_interval;
  bool inherits_restart_interval = false;
  int interval_before = 0;  // of the images before it; 0 for none
  bool EndsRestartInterval() const { return !restart_interval && interval_before != 0; }
  bool tables_apart =
      false;  // tables come in an image of their own before it, which it begins with
  QuantTables quant;
  std::string problem;  // the first thing that is wrong; empty if nothing is

  // Whether there is a table under each number that the components have. If not, the numbers say
  // nothing.
  bool HasItsQuantTables() const;
  // The table of a component, zig-zag order.
  const std::array<uint16_t, 64>& QuantStepsOf(size_t component) const;
  // Of luma: 16 to 235. A comment says it, or else the AVI1 segment as this codec has it; others'
  // JPEG is 0 to 255.
  bool IsLimitedRange() const;
  bool HasScan() const { return scan_begin != 0 && sof != 0; }
  // One scan of all components, Huffman-coded in sequence: all that the decoder reads.
  bool IsBaseline() const;
  size_t Mcus() const;  // of 16 by 8 pixels
  // Whether it calls itself larger than its bytes can ever make it, and large.
  bool SizeIsImpossible() const;
  size_t Fill() const { return end - data_end; }
};

struct FrameAnalysis {
  size_t size = 0;
  std::vector<ImageAnalysis> images;
  size_t leading = 0;                 // bytes before the first SOI
  size_t alpha_offset = 0;            // 0 without an alpha segment
  size_t trailing = 0;                // bytes after the last image that are no fill and no alpha
  std::string refusal;                // why it cannot be decoded; empty if it can
  std::vector<std::string> problems;  // of the frame and its images, refusal first

  // The images that make the picture: the first two that have a scan.
  std::vector<const ImageAnalysis*> Pictures() const;
  bool IsFieldPair() const { return images.size() >= 2; }
  // Every frame that is not refused is one of three: what the decoder reads as it is, what is
  // recoded for it first, and what it never reads.
  bool NeedsRecoding() const { return refusal.empty() && Loss().empty() && !OtherShape().empty(); }
  bool NeedsOtherDecoder() const { return refusal.empty() && !Loss().empty(); }
  const std::string& OtherShape() const;  // of the first image that can be recoded from one
  const std::string& Loss() const;        // of the first image that has one
  bool HasFieldCode() const { return images[0].field_code.value_or(0) != 0; }
  // Lines of the whole picture: those of a pair, or of a single image that calls itself a field,
  // count twice.
  int PictureHeight() const;

 private:
  const std::string& FirstOf(std::string ImageAnalysis::*what) const;
};

// Whether an image is a whole picture of `height` lines rather than a field of it, wherever it is
// the only one of its frame.
bool IsWholeHeight(const ImageAnalysis& image, int height);

FrameAnalysis AnalyseFrame(std::span<const uint8_t> frame);

// The image that begins with the SOI at `begin`. `frame` is what its offsets count from, `before`
// the image whose tables it may inherit.
ImageAnalysis AnalyseImage(std::span<const uint8_t> frame, size_t begin,
                           const ImageAnalysis* before = nullptr);

// Why no picture can be made of this image; empty if it can.
std::string RefusalOf(const ImageAnalysis& image);

// The first SOI (FF D8 and the FF of a marker) from `from` on; frame.size() if there is none.
size_t FindImage(std::span<const uint8_t> frame, size_t from);

}  // namespace tkmjpg::tool
