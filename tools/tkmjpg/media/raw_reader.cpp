#include "tools/tkmjpg/media/raw_reader.h"

#include <algorithm>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/input_file.h"

namespace tkmjpg::tool {
namespace {

struct RawLayout {
  const char* name;
  uint32_t layout;
  int bytes;  // per pixel
};

constexpr RawLayout kLayouts[] = {
    {"YUY2", TKMJPG_YUY2, 2}, {"YUYV", TKMJPG_YUY2, 2}, {"UYVY", TKMJPG_UYVY, 2},
    {"VYUY", TKMJPG_VYUY, 2}, {"BGR3", TKMJPG_BGR3, 3}, {"BGR4", TKMJPG_BGR4, 4},
    {"BGRA", TKMJPG_BGRA, 4}, {"R555", TKMJPG_R555, 2},
};

int BytesPerPixel(uint32_t layout) {
  for (const RawLayout& known : kLayouts) {
    if (known.layout == layout) return known.bytes;
  }
  return 0;
}

class RawReader : public FrameReader {
 public:
  RawReader(const std::string& path, const VideoFormat& format, uint32_t layout)
      : file_(path), format_(format), layout_(layout) {
    stride_ = int64_t{format.width} * BytesPerPixel(layout);
    frame_bytes_ = static_cast<size_t>(stride_ * format.height);
  }

  const VideoFormat& Format() const override { return format_; }

  int64_t FrameCount() const override {
    return file_.Size() < 0 ? -1 : file_.Size() / static_cast<int64_t>(frame_bytes_);
  }

  bool Read(Bytes& raw) override {
    raw.resize(frame_bytes_);
    const size_t got = file_.Read(raw);
    if (got != 0 && got != frame_bytes_) {
      file_.Fail("ends within frame " + std::to_string(frame_) + ", at byte " +
                 std::to_string(file_.Offset()));
    }
    ++frame_;
    return got != 0;
  }

  int64_t Skip(int64_t frames) override {
    if (file_.Size() < 0) return FrameReader::Skip(frames);
    const int64_t count = std::clamp<int64_t>(FrameCount() - frame_, 0, frames);
    file_.Skip(static_cast<uint64_t>(count) * frame_bytes_);
    frame_ += count;
    return count;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    picture.layout = layout_;
    picture.stride = stride_;
    picture.pixels = raw;
  }

 private:
  InputFile file_;
  VideoFormat format_;
  uint32_t layout_;
  int64_t stride_ = 0;
  size_t frame_bytes_ = 0;
  int64_t frame_ = 0;
};

}  // namespace

std::unique_ptr<FrameReader> OpenRaw(const std::string& path, const VideoFormat& format,
                                     uint32_t layout) {
  return std::make_unique<RawReader>(path, format, layout);
}

uint32_t RawLayoutByName(const std::string& name) {
  for (const RawLayout& known : kLayouts) {
    if (name == known.name) return known.layout;
  }
  return 0;
}

}  // namespace tkmjpg::tool
