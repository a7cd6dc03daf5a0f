#include "gstreamer/jpeg_frame.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "tkmjpg.h"

namespace tkmjpg::gst {
namespace {

using Bytes = std::span<const uint8_t>;

enum Marker : uint8_t {
  kSof0 = 0xC0,
  kDht = 0xC4,
  kJpg = 0xC8,
  kDac = 0xCC,
  kSof15 = 0xCF,
  kRst0 = 0xD0,
  kRst7 = 0xD7,
  kSoi = 0xD8,
  kEoi = 0xD9,
  kSos = 0xDA,
  kDqt = 0xDB,
  kDri = 0xDD,
  kApp0 = 0xE0,
  kApp14 = 0xEE,
  kCom = 0xFE,
};

// Two luma blocks of 2 bits for the DC coefficient and 4 for the end, two chroma blocks of 2 and 2.
constexpr size_t kMinMcuBits = 20;

size_t WordAt(Bytes bytes, size_t offset) {
  return static_cast<size_t>(bytes[offset]) << 8 | bytes[offset + 1];
}

bool StartsWith(Bytes bytes, std::string_view text) {
  return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

bool IsOtherSof(uint8_t marker) {
  return marker > kSof0 && marker <= kSof15 && marker != kDht && marker != kJpg && marker != kDac;
}

// One Huffman table of a DHT segment: class and number, 16 counts, values.
size_t HuffmanTableSize(Bytes tables) {
  if (tables.size() < 17) return 0;
  size_t size = 17;
  for (const uint8_t count : tables.subspan(1, 16)) size += count;
  return size <= tables.size() ? size : 0;
}

// The payload of the DHT segment that the codec itself writes: the only tables it decodes with.
const std::vector<uint8_t>& CodecHuffmanTables() {
  static const std::vector<uint8_t> tables = [] {
    std::array<uint8_t, 16 * 8 * 2> grey;
    grey.fill(128);
    std::array<uint8_t, 4096> stream;
    const size_t size = CompressBuffer_MJPG(grey.data(), 32, stream.data(), stream.size(), 16, 8,
                                            50, TKMJPG_C_HUFFMAN_TABLES, TKMJPG_YUY2, 0, nullptr);
    for (size_t at = 2; at + 4 < size; at += 2 + WordAt(stream, at + 2)) {
      if (stream[at + 1] != kDht) continue;
      return std::vector<uint8_t>(&stream[at + 4], &stream[at + 2 + WordAt(stream, at + 2)]);
    }
    return std::vector<uint8_t>();
  }();
  return tables;
}

bool IsCodecHuffmanTable(Bytes table) {
  for (Bytes known = CodecHuffmanTables(); !known.empty();) {
    const size_t size = HuffmanTableSize(known);
    if (std::ranges::equal(known.first(size), table)) return true;
    known = known.subspan(size);
  }
  return false;
}

// Reads one image, segment by segment.
class ImageReader {
 public:
  explicit ImageReader(Bytes bytes) : bytes_(bytes) {}

  JpegImage Read() {
    at_ = 2;
    while (ReadSegment()) {
    }
    image_.size = at_;
    return image_;
  }
  bool HasScan() const { return has_scan_; }

 private:
  bool Damaged(const char* what) {
    if (image_.damage == nullptr) image_.damage = what;
    return false;
  }
  void Refuse(const char* why) {
    if (image_.refusal == nullptr) image_.refusal = why;
  }

  // False at the end of the image.
  bool ReadSegment() {
    at_ = static_cast<size_t>(std::find(bytes_.begin() + at_, bytes_.end(), 0xFF) - bytes_.begin());
    while (at_ < bytes_.size() && bytes_[at_] == 0xFF) ++at_;
    if (at_ == bytes_.size()) return Damaged("it ends without EOI");
    const uint8_t marker = bytes_[at_++];
    if (marker == kEoi) return has_scan_ ? false : Damaged("EOI without a scan");
    if (marker == 0) return true;
    if (bytes_.size() - at_ < 2) return Cut();
    const size_t length = WordAt(bytes_, at_);
    if (length < 2 || length > bytes_.size() - at_) return Cut();
    Take(marker, bytes_.subspan(at_ + 2, length - 2));
    at_ += length;
    if (marker != kSos) return true;
    const size_t begin = at_;
    const bool whole = PassScan();
    if (at_ - begin < Mcus() * kMinMcuBits / 8) {
      image_.too_short = true;
      Damaged("the scan is too short for its size");
    }
    return whole;
  }
  bool Cut() {
    at_ = bytes_.size();
    return Damaged("it ends inside a segment");
  }

  void Take(uint8_t marker, Bytes payload) {
    if (IsOtherSof(marker)) Refuse("only baseline images (SOF0) are read");
    if (marker == kSof0) TakeFrameHeader(payload);
    if (marker == kDht) TakeHuffmanTables(payload);
    if (marker == kSos) TakeScanHeader(payload);
    if (marker == kDri && payload.size() >= 2) restart_interval_ = WordAt(payload, 0);
    if (marker == kApp0 && StartsWith(payload, "AVI1") && payload.size() > 4) {
      image_.avi1 = true;
      image_.field_code = payload[4];
      image_.field_code_offset = at_ + 6;
    }
    if (marker == kApp14 && StartsWith(payload, "Adobe") && payload.size() > 11 &&
        payload[11] == 0) {
      Refuse("only YCbCr is read, not RGB");
    }
    if (marker == kCom && StartsWith(payload, "CS=ITU601")) image_.itu601 = true;
  }

  void TakeFrameHeader(Bytes payload) {
    if (payload.size() < 6) return;
    image_.height = static_cast<int>(WordAt(payload, 1));
    image_.width = static_cast<int>(WordAt(payload, 3));
    image_.width_offset = at_ + 5;
    if (payload[0] != 8) Refuse("only 8 bits a sample are read");
    if (payload[5] != 3 || payload.size() < 15) return Refuse("only three components are read");
    if (payload[7] != 0x21 || payload[10] != 0x11 || payload[13] != 0x11) {
      Refuse("only 4:2:2 of sampling factors 2x1, 1x1, 1x1 is read");
    }
    // The codec dequantises Y by table 0, Cb and Cr by table 1.
    if (payload[8] != 0 || payload[11] != 1 || payload[14] != 1) {
      Refuse("only quantisation tables 0 for Y and 1 for Cb and Cr are read");
    }
  }

  void TakeHuffmanTables(Bytes payload) {
    while (!payload.empty()) {
      const size_t size = HuffmanTableSize(payload);
      if (size == 0) return static_cast<void>(Damaged("a Huffman table is cut"));
      if (!IsCodecHuffmanTable(payload.first(size))) {
        Refuse("only the Huffman tables of ITU T.81 Annex K are read");
      }
      payload = payload.subspan(size);
    }
  }

  void TakeScanHeader(Bytes payload) {
    if (image_.width_offset == 0) {
      Damaged("a scan without SOF0");
    } else if (payload.size() < 10 || payload[0] != 3) {
      Refuse("only one scan of all three components is read");
    } else if (payload[2] != 0 || payload[4] != 0x11 || payload[6] != 0x11) {
      Refuse("only Huffman tables 0 for Y and 1 for Cb and Cr are read");
    }
    has_scan_ = image_.width_offset != 0 || image_.refusal != nullptr;
  }

  // To the marker that ends the scan. Restart markers in it have to be in turn and complete.
  bool PassScan() {
    size_t restarts = 0;
    for (;;) {
      const auto* found =
          static_cast<const uint8_t*>(std::memchr(bytes_.data() + at_, 0xFF, bytes_.size() - at_));
      if (found == nullptr || found + 1 == bytes_.data() + bytes_.size()) {
        at_ = bytes_.size();
        return Damaged("it ends inside the scan");
      }
      at_ = static_cast<size_t>(found - bytes_.data());
      const uint8_t marker = found[1];
      if (marker >= kRst0 && marker <= kRst7) {
        if (marker != kRst0 + restarts++ % 8) Damaged("a restart marker is out of turn");
      } else if (marker == kEoi) {
        if (restarts != ExpectedRestarts()) Damaged("restart markers are missing or too many");
        return true;
      } else if (marker != 0 && marker != 0xFF) {
        return Damaged("a marker stands inside the scan");
      }
      at_ += marker == 0xFF ? 1 : 2;
    }
  }

  size_t Mcus() const {
    return (static_cast<size_t>(image_.width) + 15) / 16 *
           ((static_cast<size_t>(image_.height) + 7) / 8);
  }
  size_t ExpectedRestarts() const {
    return restart_interval_ == 0 || Mcus() == 0 ? 0 : (Mcus() - 1) / restart_interval_;
  }

  Bytes bytes_;
  JpegImage image_;
  size_t at_ = 0;
  size_t restart_interval_ = 0;
  bool has_scan_ = false;
};

}  // namespace

JpegFrame ReadJpegFrame(Bytes frame) {
  JpegFrame result;
  size_t at = 0;
  // The first marker has to be SOI; bytes before it are passed over.
  while (at < frame.size() && frame[at] != 0xFF) ++at;
  while (result.count < 2) {
    // Between two images, fill bytes and zeros.
    while (at < frame.size() && (frame[at] == 0xFF || (result.count > 0 && frame[at] == 0))) ++at;
    if (at == 0 || at >= frame.size() || frame[at] != kSoi || frame[at - 1] != 0xFF) break;
    ImageReader reader(frame.subspan(at - 1));
    result.images[result.count] = reader.Read();
    if (!reader.HasScan()) break;
    result.begin[result.count] = at - 1;
    at += result.images[result.count++].size - 1;
  }
  return result;
}

}  // namespace tkmjpg::gst
