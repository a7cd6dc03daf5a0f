#include "tools/tkmjpg/media/y4m_reader.h"

#include <algorithm>
#include <stdexcept>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/video_text.h"
#include "tools/tkmjpg/media/y4m_header.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kLongestHeader = 4096;
constexpr char kFrame[] = "FRAME";
constexpr uint64_t kFrameHeader = sizeof kFrame;  // with the line feed

class Y4mReader : public FrameReader {
 public:
  Y4mReader(const std::string& path, std::optional<FieldOrder> field_order, bool keep_full_range)
      : file_(path) {
    ReadHeader();
    if (header_.mixed && !field_order) {
      file_.Fail(
          "Im: interlacing that changes from frame to frame needs --progressive or --fields");
    }
    CheckPictureSize(path, header_.video.width, header_.video.height);
    if (field_order) header_.video.field_order = *field_order;
    header_.planes.interlaced = header_.video.field_order != FieldOrder::kProgressive;
    if (keep_full_range && header_.planes.full_range) {
      header_.planes.full_range = false;  // which would be changed
      header_.video.range = Range::kFull;
    }
    frame_bytes_ = PlanarSize(header_.planes);
    first_frame_ = file_.Offset();
  }

  const VideoFormat& Format() const override { return header_.video; }

  int64_t FrameCount() const override {
    if (file_.Size() < 0) return -1;
    return static_cast<int64_t>(FrameData() / (kFrameHeader + frame_bytes_));
  }

  bool Read(Bytes& raw) override {
    if (!ReadFrameHeader()) return false;
    raw.resize(frame_bytes_);
    EndFrame(file_.Read(raw));
    return true;
  }

  // Frames may have parameters, which make them longer: then each is looked at.
  int64_t Skip(int64_t frames) override {
    int64_t skipped = 0;
    if (HasPlainFrames()) {
      skipped = std::clamp<int64_t>(FrameCount() - frame_, 0, frames);
      file_.Skip(static_cast<uint64_t>(skipped) * kFrameHeader +
                 static_cast<uint64_t>(skipped) * frame_bytes_);
      frame_ += skipped;
      return skipped;
    }
    for (; skipped < frames && ReadFrameHeader(); ++skipped) EndFrame(file_.Skip(frame_bytes_));
    return skipped;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    picture.layout = TKMJPG_YUY2;
    picture.stride = int64_t{2} * header_.video.width;
    picture.pixels.resize(static_cast<size_t>(picture.stride * header_.video.height));
    PackPlanar(header_.planes, raw.data(), picture.pixels.data());
  }

 private:
  void ReadHeader() {
    if (!file_.ReadLine(line_, kLongestHeader)) file_.Fail("is empty");
    try {
      header_ = ParseY4mHeader(line_);
    } catch (const std::invalid_argument& error) {
      file_.Fail(error.what());
    }
  }

  uint64_t FrameData() const {
    const auto size = static_cast<uint64_t>(file_.Size());
    return size - std::min(size, first_frame_);
  }

  bool HasPlainFrames() const {
    return file_.Size() >= 0 && FrameData() % (kFrameHeader + frame_bytes_) == 0;
  }

  bool ReadFrameHeader() {
    if (!file_.ReadLine(line_, kLongestHeader)) return false;
    if (line_ != kFrame && !line_.starts_with("FRAME ")) {
      file_.Fail("no FRAME where frame " + std::to_string(frame_) + " should begin, at byte " +
                 std::to_string(file_.Offset() - line_.size() - 1));
    }
    return true;
  }

  void EndFrame(uint64_t bytes) {
    if (bytes != frame_bytes_) {
      file_.Fail("ends within frame " + std::to_string(frame_) + ", at byte " +
                 std::to_string(file_.Offset()));
    }
    ++frame_;
  }

  InputFile file_;
  std::string line_;
  Y4mHeader header_;
  size_t frame_bytes_ = 0;
  uint64_t first_frame_ = 0;
  int64_t frame_ = 0;
};

}  // namespace

std::unique_ptr<FrameReader> OpenY4m(const std::string& path, std::optional<FieldOrder> field_order,
                                     bool keep_full_range) {
  return std::make_unique<Y4mReader>(path, field_order, keep_full_range);
}

}  // namespace tkmjpg::tool
