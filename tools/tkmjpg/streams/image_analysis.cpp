// The walk through one image: segments, scan, fill.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/marker_segments.h"
#include "tools/tkmjpg/streams/huffman_tables.h"
#include "tools/tkmjpg/streams/image_shape.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

uint32_t Big16(const uint8_t* p) { return static_cast<uint32_t>(p[0] << 8 | p[1]); }
uint32_t Big32(const uint8_t* p) { return Big16(p) << 16 | Big16(p + 2); }

std::string MarkerName(uint8_t marker) {
  char text[8];
  std::snprintf(text, sizeof text, "FF%02X", marker);
  return text;
}

std::string At(size_t offset) {
  std::string text = " at byte ";
  return text += std::to_string(offset);
}

constexpr uint8_t kApp14 = 0xEE;

bool IsRestart(uint8_t marker) { return marker >= kRst0 && marker < kRst0 + 8; }
// Frame headers, T.81 Table B.1: C0 to CF but for DHT, JPG and DAC.
bool IsSof(uint8_t marker) {
  return (marker & 0xF0) == 0xC0 && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

class ImageWalk {
 public:
  ImageWalk(Bytes frame, size_t begin, const ImageAnalysis* before) : frame_(frame) {
    image_.begin = begin;
    if (before != nullptr) Inherit(*before);
  }

  ImageAnalysis Run() {
    size_t at = image_.begin + 2;
    while (at < frame_.size() && !image_.complete && !stopped_) at = Step(at);
    image_.data_end = at;
    FinishFill();
    CheckSizeFields();
    CheckRestarts();
    SettleColours();
    SettleShape(frame_, image_);
    image_.huffman = ClassifyHuffmanTables(frame_, image_);
    SettleMode();
    if (!image_.complete) Problem("no EOI: the image breaks off" + At(image_.data_end));
    return std::move(image_);
  }

 private:
  void Inherit(const ImageAnalysis& before) {
    image_.quant = before.quant;
    image_.quant.inherited = before.quant.defined;
    image_.huffman_slots = before.huffman_slots;
    for (size_t i = 0; i < image_.huffman_slots.places.size(); ++i) {
      image_.huffman_slots.inherited[i] = image_.huffman_slots.places[i].size != 0;
    }
    image_.interval_before = before.restart_interval.value_or(before.interval_before);
  }

  void Problem(const std::string& text) {
    if (image_.problem.empty()) image_.problem = text;
  }

  size_t Stop(size_t at) {
    stopped_ = true;
    return at;
  }

  // One marker, and its segment if it has one. Returns where to go on.
  size_t Step(size_t at) {
    const size_t mark = FindByte(at, 0xFF);
    if (mark != at) Problem(std::to_string(mark - at) + " bytes between segments" + At(at));
    size_t code = mark;
    while (code < frame_.size() && frame_[code] == 0xFF) ++code;
    if (code >= frame_.size()) return Stop(mark);
    if (frame_[code] == 0) return code + 1;
    if (frame_[code] != kEoi) return StepOverSegment(code);
    if (const std::optional<size_t> next = AfterTables(code + 1)) return *next;
    image_.complete = true;
    return code + 1;
  }

  // An image of tables alone (ITU T.81 B.5) and the image after it count as one.
  std::optional<size_t> AfterTables(size_t end) {
    const bool tables = std::ranges::any_of(
        image_.segments, [](const Segment& s) { return s.marker == kDqt || s.marker == kDht; });
    if (!tables || image_.sof != 0 || image_.scan_begin != 0) return {};
    size_t code = end;
    while (code < frame_.size() && frame_[code] == 0xFF) ++code;
    if (code == end || code >= frame_.size() || frame_[code] != kSoi) return {};
    image_.tables_apart = true;
    return code + 1;
  }

  size_t StepOverSegment(size_t code) {
    const uint8_t marker = frame_[code];
    if (code + 3 > frame_.size()) return Stop(code - 1);
    const size_t length = Big16(&frame_[code + 1]);
    const Segment segment = {marker, code - 1, code + 3, code + 1 + std::max<size_t>(length, 2)};
    if (length < 2 || segment.end > frame_.size()) {
      Problem(MarkerName(marker) + " of length " + std::to_string(length) +
              (length < 2 ? " is too short" : " runs past the end") + At(segment.offset));
      return Stop(segment.offset);
    }
    image_.segments.push_back(segment);
    Take(segment, frame_.subspan(segment.payload, segment.end - segment.payload));
    if (marker != kSos) return segment.end;
    if (image_.scan_begin == 0) image_.scan_begin = segment.end;
    return StepOverScan(segment.end);
  }

  void Take(const Segment& segment, Bytes payload) {
    if (segment.marker == kApp0) TakeApp0(segment, payload);
    if (segment.marker == kApp14) TakeAdobe(payload);
    if (segment.marker == kSos && image_.scan_begin == 0) TakeScanHeader(payload);
    if (segment.marker == kDqt) TakeQuantTables(payload);
    if (segment.marker == kDht) TakeHuffmanTables(frame_, segment, image_.huffman_slots);
    if (segment.marker == kDri && payload.size() >= 2) {
      image_.restart_interval = static_cast<int>(Big16(payload.data()));
    }
    if (segment.marker == kCom && payload.size() >= 4) {
      dc30_ |= std::memcmp(payload.data(), "DC30", 4) == 0;
      TakeMark(payload, image_.marks);
    }
    // A frame header after the scan is damage; it comes too late for the decoder as well.
    if (IsSof(segment.marker) && image_.scan_begin == 0) TakeFrameHeader(segment.marker, payload);
  }

  void TakeApp0(const Segment& segment, Bytes payload) {
    if (payload.size() >= 5 && std::memcmp(payload.data(), "AVI1", 4) == 0) {
      image_.header = HeaderKind::kAvi1;
      image_.field_code = payload[4];
      if (payload.size() < 14) return;
      image_.sizes = SizeFields{segment.offset + kSizeFieldsOffset, Big32(&payload[6]),
                                Big32(&payload[10]), false};
    } else if (payload.size() >= 7 && std::memcmp(payload.data(), "JFIF", 5) == 0) {
      image_.header = HeaderKind::kJfif;
      jfif_version_ = static_cast<int>(Big16(&payload[5]));
    }
  }

  void TakeAdobe(Bytes payload) {
    if (payload.size() < 12 || std::memcmp(payload.data(), "Adobe", 5) != 0) return;
    adobe_transform_ = payload[11];
  }

  // As other readers tell: JFIF has Y, Cb, Cr, Adobe's segment says what there is, and without
  // either the components may be called R, G, B.
  void SettleColours() {
    if (image_.components != 3 || image_.header == HeaderKind::kJfif) return;
    image_.rgb = adobe_transform_ ? *adobe_transform_ == 0 : ids_ == std::array{'R', 'G', 'B'};
  }

  // Tables between the scans of an image are for those that follow.
  void TakeQuantTables(Bytes payload) {
    for (size_t at = 0; at < payload.size();) {
      const size_t width = payload[at] >> 4 == 0 ? 1 : 2, slot = payload[at] & 15;
      if (slot > 3 || at + 1 + 64 * width > payload.size()) return;
      const bool late = image_.scan_begin != 0 && image_.quant.defined[slot];
      for (size_t k = 0; k < 64 && !late; ++k) {
        const uint8_t* p = &payload[at + 1 + width * k];
        image_.quant.values[slot][k] = static_cast<uint16_t>(width == 1 ? p[0] : Big16(p));
      }
      image_.quant.defined[slot] = true;
      image_.quant.inherited[slot] = false;
      at += 1 + 64 * width;
    }
  }

  void TakeFrameHeader(uint8_t marker, Bytes payload) {
    if (payload.size() < 6) return Problem("frame header is too short");
    image_.sof = marker;
    image_.precision = payload[0];
    image_.height = static_cast<int>(Big16(&payload[1]));
    image_.width = static_cast<int>(Big16(&payload[3]));
    image_.components = payload[5];
    const size_t known = std::min<size_t>(payload[5], (payload.size() - 6) / 3);
    own_ids_ = known == 3;
    std::vector<uint8_t> factors;
    for (size_t i = 0; i < known; ++i) {
      own_ids_ = own_ids_ && payload[6 + 3 * i] == i;
      factors.push_back(payload[7 + 3 * i]);
      if (i >= 3) continue;
      ids_[i] = static_cast<char>(payload[6 + 3 * i]);
      ComponentShape& shape = image_.shape[i];
      shape.h = factors[i] >> 4;
      shape.v = factors[i] & 15;
      shape.quant_table = payload[8 + 3 * i];
    }
    image_.sampling =
        known == payload[5] ? SamplingName(factors) : std::to_string(payload[5]) + "-component";
  }

  void TakeScanHeader(Bytes payload) {
    image_.scan_components = payload.empty() ? 0 : payload[0];
    for (size_t i = 0; i < 3 && 2 + 2 * i < payload.size(); ++i) {
      image_.shape[i].dc_table = payload[2 + 2 * i] >> 4;
      image_.shape[i].ac_table = payload[2 + 2 * i] & 15;
    }
  }

  // Entropy-coded data ends at the first marker that is no restart. In a baseline image of one
  // scan that is EOI or, in a cut one, the SOI of the next image.
  size_t StepOverScan(size_t at) {
    restarts_ = 0;
    for (;;) {
      const size_t mark = FindByte(at, 0xFF);
      if (mark + 1 >= frame_.size()) return Stop(frame_.size());
      const uint8_t marker = frame_[mark + 1];
      at = marker == 0xFF ? mark + 1 : mark + 2;
      if (marker == 0 || marker == 0xFF) continue;
      if (IsRestart(marker)) {
        TakeRestart(marker, mark);
      } else if (marker == kEoi || (marker != kSoi && !image_.IsBaseline())) {
        return mark;
      } else if (marker == kSoi) {
        return Stop(mark);
      } else {
        Problem(MarkerName(marker) + " in the entropy-coded data" + At(mark));
      }
    }
  }

  void TakeRestart(uint8_t marker, size_t offset) {
    if (!image_.restart_interval && image_.interval_before != 0) {
      image_.restart_interval = image_.interval_before;
      image_.inherits_restart_interval = true;
    }
    if (image_.restart_interval.value_or(0) == 0)
      return Problem("restart without interval" + At(offset));
    const int number = marker - kRst0;
    if (number != restarts_ % 8) {
      Problem("RST" + std::to_string(number) + " in place of RST" + std::to_string(restarts_ % 8) +
              At(offset));
    }
    ++restarts_;
  }

  void CheckRestarts() {
    const int interval = image_.restart_interval.value_or(0);
    if (interval == 0 || !image_.complete || image_.sampling != "4:2:2") return;
    if (!image_.IsBaseline()) return;
    const int width = 8 * image_.shape[0].h, height = 8 * image_.shape[0].v;
    const int mcus = (image_.width + width - 1) / width * ((image_.height + height - 1) / height);
    // A marker after the last MCU is allowed for.
    const int wanted = mcus == 0 ? 0 : (mcus - 1) / interval;
    if (restarts_ < wanted || restarts_ > wanted + 1) {
      Problem(std::to_string(restarts_) + " restarts, not " + std::to_string(wanted));
    }
  }

  // Fill runs up to what follows, whose own 0xFF does not count.
  void FinishFill() {
    size_t end = image_.data_end;
    while (end < frame_.size() && frame_[end] == 0xFF) ++end;
    const bool marker_follows =
        end < frame_.size() && (frame_[end] == kSoi || frame_[end] == kApp1);
    image_.end = marker_follows && end > image_.data_end ? end - 1 : end;
  }

  void CheckSizeFields() {
    if (!image_.sizes) return;
    image_.sizes->right = image_.sizes->image_size == image_.end - image_.begin &&
                          image_.sizes->image_data_size == image_.data_end - image_.begin;
  }

  void SettleMode() {
    if (!own_ids_) return;
    if (image_.header == HeaderKind::kAvi1) {
      if (image_.sizes) image_.mode = image_.restart_interval ? 0 : 3;
      if (!image_.sizes) image_.mode = dc30_ ? 1 : 2;
    }
    if (image_.header == HeaderKind::kJfif && jfif_version_ == 0x100) image_.mode = 5;
    if (image_.header == HeaderKind::kJfif && jfif_version_ == 0x102) image_.mode = 7;
  }

  size_t FindByte(size_t from, uint8_t value) const {
    if (from >= frame_.size()) return frame_.size();
    const void* found = std::memchr(&frame_[from], value, frame_.size() - from);
    return found == nullptr
               ? frame_.size()
               : static_cast<size_t>(static_cast<const uint8_t*>(found) - frame_.data());
  }

  Bytes frame_;
  ImageAnalysis image_;
  bool stopped_ = false;
  bool dc30_ = false;
  bool own_ids_ = false;  // component identifiers 0, 1, 2
  std::array<char, 3> ids_{};
  std::optional<uint8_t> adobe_transform_;
  int jfif_version_ = 0;
  int restarts_ = 0;
};

}  // namespace

ImageAnalysis AnalyseImage(Bytes frame, size_t begin, const ImageAnalysis* before) {
  return ImageWalk(frame, begin, before).Run();
}

}  // namespace tkmjpg::tool
