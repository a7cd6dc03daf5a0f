#include "tools/tkmjpg/streams/scan_check.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/entropy_bits.h"
#include "tools/tkmjpg/streams/huffman_tables.h"
#include "tools/tkmjpg/streams/picture_break.h"
#include "tools/tkmjpg/streams/scan_tables.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr uint8_t kSof1 = 0xC1;  // extended sequential: the same codes
// A mean of a block is within black and white (a DC of -1024 to 1016), but for rounding and for
// what encoders do on purpose. This is 8 steps of 256 more.
constexpr int32_t kBeyondWhite = 1024 + 64;
constexpr int32_t kLowestDc = -1024, kHighestDc = 1024;  // with steps of 1
// What writers put between the last code and the marker: up to whole words.
constexpr uint32_t kMostPaddingBits = 31;
// A decoder that loads this much in advance does not see the marker.
constexpr uint32_t kFarFromMarker = 200;

struct Component {
  std::shared_ptr<const ScanTables> tables;
  uint32_t blocks = 1;  // of it in an MCU
  int32_t dc_limit = 0;
  int32_t last_dc = 0;
  int32_t step = 1;  // of DC

  int32_t Mean() const { return last_dc * step / 8; }  // of the last block, from middle grey
};

struct Shape {
  std::vector<Component> components;
  size_t columns = 0, rows = 0, row_lines = 8;
};

// Of a single scan of all components; nothing of any other.
std::optional<Shape> ShapeOf(Bytes frame, const ImageAnalysis& image) {
  const auto count = static_cast<size_t>(image.components);
  if ((image.sof != kSof0 && image.sof != kSof1) || image.precision != 8) return {};
  if (count == 0 || count > image.shape.size() || image.scan_begin == 0) return {};
  const auto scan = std::ranges::find(image.segments, kSos, &Segment::marker);
  if (scan == image.segments.end() || scan->end - scan->payload < 4 + 2 * count) return {};
  if (frame[scan->payload] != count) return {};
  Shape shape;
  uint32_t h = 1, v = 1;
  for (size_t c = 0; c < count; ++c) {
    const ComponentShape& of = image.shape[c];
    if (of.h == 0 || of.v == 0 || of.h > 4 || of.v > 4) return {};
    const ComponentTables tables = TablesOfComponent(frame, image, c);
    const uint32_t blocks = count == 1 ? 1U : uint32_t{of.h} * of.v;
    const int32_t step = std::max<int32_t>(image.QuantStepsOf(c)[0], 1);
    shape.components.push_back(
        {MakeScanTables(tables.dc, tables.ac), blocks, kBeyondWhite / step + 2, 0, step});
    if (shape.components.back().tables == nullptr) return {};
    if (count == 1) continue;  // its blocks follow each other whatever its factors
    h = std::max<uint32_t>(h, of.h);
    v = std::max<uint32_t>(v, of.v);
  }
  shape.row_lines = 8 * v;
  shape.columns = (static_cast<size_t>(image.width) + 8 * h - 1) / (8 * h);
  shape.rows = (static_cast<size_t>(image.height) + shape.row_lines - 1) / shape.row_lines;
  if (shape.columns == 0 || shape.rows == 0) return {};
  return shape;
}

enum class Fault { kNone, kEarlyEnd, kInvalidCode, kLongRun, kRange };

const char* TextOf(Fault fault) {
  switch (fault) {
    case Fault::kEarlyEnd:
      return "the data ends early";
    case Fault::kInvalidCode:
      return "invalid code";
    case Fault::kLongRun:
      return "a run past the end of its block";
    default:
      return "a coefficient out of range";
  }
}

// The symbols that the tables of runs leave: long codes, and those next to the end of a block.
inline Fault SkipSymbol(EntropyBits& bits, const HuffmanLookup& table, uint32_t& k) {
  bits.Refill();
  const HuffmanSymbol symbol = table.Find(static_cast<uint16_t>(bits.Peek(16)));
  if (symbol.length == 0 || !IsAcSymbol(symbol.value)) return Fault::kInvalidCode;
  bits.Skip(symbol.length + (symbol.value & 15U));
  k += symbol.value == kEndOfBlock ? 64 : (symbol.value >> 4) + 1U;
  return k <= 64 || symbol.value == kEndOfBlock ? Fault::kNone : Fault::kLongRun;
}

inline Fault SkipAc(EntropyBits& bits, const ScanTables& tables) {
  constexpr int kLookUps = 56 / ScanTables::kAcIndexBits;  // that one refill is enough for
  for (uint32_t k = 1; k < 64;) {
    bits.Refill();
    for (int i = 0; i < kLookUps; ++i) {
      const AcRun run = tables.ac_runs[bits.Peek(ScanTables::kAcIndexBits)];
      const uint32_t after = k + run.Covered();
      if (after > 63) [[unlikely]] {
        const Fault fault = SkipSymbol(bits, tables.ac, k);
        if (fault != Fault::kNone) return fault;
        break;
      }
      bits.Skip(run.Bits());
      k = after;
      if (run.Ends()) return Fault::kNone;
    }
  }
  return Fault::kNone;
}

inline Fault ReadDc(EntropyBits& bits, const ScanTables& tables, int32_t& last_dc) {
  bits.Refill();
  const DcRun run = tables.dc_runs[bits.Peek(ScanTables::kDcIndexBits)];
  if (run.bits != 0) [[likely]] {
    bits.Skip(run.bits);
    last_dc += run.difference;
  } else {
    const HuffmanSymbol symbol = tables.dc.Find(static_cast<uint16_t>(bits.Peek(16)));
    const uint32_t size = symbol.value;
    if (symbol.length == 0 || size > kMostDcBits) return Fault::kInvalidCode;
    bits.Skip(symbol.length);
    if (size != 0) last_dc += ExtendAmplitude(bits.Peek(size), size);
    bits.Skip(size);
  }
  return last_dc >= kLowestDc && last_dc <= kHighestDc ? Fault::kNone : Fault::kRange;
}

class ScanReader {
 public:
  // `means` receives that of the last luma block of each MCU, as far as they can be read.
  ScanReader(Bytes frame, const ImageAnalysis& image, Shape shape,
             std::vector<int32_t>* means = nullptr)
      : image_(image),
        means_(means),
        shape_(std::move(shape)),
        bits_(frame.subspan(image.scan_begin, image.data_end - image.scan_begin)),
        mcus_(shape_.columns * shape_.rows),
        interval_(static_cast<size_t>(image.restart_interval.value_or(0))) {
    result_.readable = true;
    result_.rows = shape_.rows;
    result_.row_lines = shape_.row_lines;
  }

  ScanCheck Run() {
    for (size_t mcu = 0; mcu < mcus_ && !stopped_;) {
      const size_t end = interval_ == 0 ? mcus_ : std::min(mcu + interval_, mcus_);
      ReadInterval(mcu, end);
      FinishInterval(end);
      mcu = end;
    }
    return std::move(result_);
  }

 private:
  size_t RowOf(size_t mcu) const { return std::min(mcu / shape_.columns, shape_.rows - 1); }

  void ReadInterval(size_t mcu, size_t end) {
    for (Component& component : shape_.components) component.last_dc = 0;
    intact_ = true;
    Fault fault = Fault::kNone;
    EntropyBits bits = bits_;  // a copy, which can stay in registers
    for (; mcu < end; ++mcu) {
      fault = ReadMcu(bits);
      if (means_ != nullptr) means_->push_back(shape_.components[0].Mean());
      if (beyond_) [[unlikely]]
        NoteSuspect(mcu);
      if (fault != Fault::kNone) break;
    }
    bits_ = bits;
    if (fault != Fault::kNone) Break(TextOf(fault), mcu, end);
  }

  Fault ReadMcu(EntropyBits& bits) {
    Fault fault = Fault::kNone;
    for (Component& component : shape_.components) {
      for (uint32_t b = 0; b < component.blocks && fault == Fault::kNone; ++b) {
        fault = ReadBlock(bits, component);
      }
    }
    return bits.Exhausted() ? Fault::kEarlyEnd : fault;
  }

  Fault ReadBlock(EntropyBits& bits, Component& component) {
    const ScanTables& tables = *component.tables;
    const Fault fault = ReadDc(bits, tables, component.last_dc);
    if (fault != Fault::kNone) return fault;
    beyond_ |= std::abs(component.last_dc) > component.dc_limit;
    return SkipAc(bits, tables);
  }

  // After the last code: padding, and the marker that is due.
  void FinishInterval(size_t end) {
    const bool last = end == mcus_;
    const size_t begun = end - 1;
    if (intact_ && !PaddingIsOne()) Break("data left over", begun, end);
    SkipToMarker();
    if (last) return;
    const uint8_t wanted = static_cast<uint8_t>(kRst0 + restarts_++ % 8);
    const uint8_t marker = bits_.Marker();
    if (marker == wanted) return bits_.PassMarker();
    Break("no restart marker where one is due", end, mcus_);
    stopped_ = true;
  }

  // Bits of one value, as many as there may be.
  bool PaddingIsOne() {
    bits_.Refill();
    const uint32_t left = bits_.Left();
    if (!bits_.AtEnd() || left > kMostPaddingBits) return false;
    const uint32_t part = left % 8, bytes = left / 8;
    const uint32_t head = part == 0 ? 0 : bits_.Peek(part);
    if (head != 0 && head != (1U << part) - 1) return false;
    EntropyBits rest = bits_;
    rest.Skip(part);
    for (uint32_t i = 0; i < bytes; ++i) {
      if (rest.Peek(8) != 0 && rest.Peek(8) != 0xFF) return false;
      rest.Skip(8);
    }
    return true;
  }

  void SkipToMarker() {
    uint32_t skipped = 0;
    for (bits_.Refill(); bits_.Left() >= 8; bits_.Refill()) {
      bits_.Skip(8);
      ++skipped;
    }
    if (skipped > kFarFromMarker) stopped_ = true;
  }

  void NoteSuspect(size_t mcu) {
    if (!result_.suspect) result_.suspect = MakeFault("samples far beyond black or white", mcu);
    beyond_ = false;
  }

  ScanFault MakeFault(const char* what, size_t mcu) const {
    const size_t offset = image_.scan_begin + bits_.Position();
    return {what + (" at byte " + std::to_string(offset)), offset, RowOf(mcu)};
  }

  // Nothing from `mcu` to `end` can be trusted.
  void Break(const char* what, size_t mcu, size_t end) {
    intact_ = false;
    if (!result_.damage) result_.damage = MakeFault(what, mcu);
    const McuRows rows = {RowOf(mcu), RowOf(end - 1) + 1};
    if (!result_.gone.empty() && result_.gone.back().end >= rows.first) {
      result_.gone.back().end = std::max(result_.gone.back().end, rows.end);
    } else {
      result_.gone.push_back(rows);
    }
  }

  const ImageAnalysis& image_;
  std::vector<int32_t>* means_;
  Shape shape_;
  EntropyBits bits_;
  size_t mcus_, interval_;
  size_t restarts_ = 0;
  bool beyond_ = false;   // a block of this MCU is beyond black or white
  bool intact_ = true;    // the interval so far
  bool stopped_ = false;  // nothing more can be read
  ScanCheck result_;
};

}  // namespace

ScanCheck CheckScan(Bytes frame, const ImageAnalysis& image) {
  std::optional<Shape> shape = ShapeOf(frame, image);
  if (!shape) return {};
  return ScanReader(frame, image, std::move(*shape)).Run();
}

ScanCheck LocateDamage(Bytes frame, const ImageAnalysis& image) {
  std::optional<Shape> shape = ShapeOf(frame, image);
  if (!shape) return {};
  const size_t columns = shape->columns;
  std::vector<int32_t> means;
  ScanCheck check = ScanReader(frame, image, std::move(*shape), &means).Run();
  if (image.restart_interval.value_or(0) != 0) return check;  // they say where
  size_t first = check.gone.empty() ? check.rows : check.gone[0].first;
  if (check.suspect) first = std::min(first, check.suspect->row);
  if (const auto place = FindBreak(means, columns)) first = std::min(first, *place / columns);
  if (first < check.rows) check.gone = {{first, check.rows}};
  return check;
}

}  // namespace tkmjpg::tool
