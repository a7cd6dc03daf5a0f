#include "tools/tkmjpg/media/avi_picture_reader.h"

#include <cstring>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_reader.h"
#include "tools/tkmjpg/media/video_text.h"

namespace tkmjpg::tool {
namespace {

struct Bitmap {
  uint32_t layout = 0;
  size_t pixel_bytes = 0;
  bool top_down = false;
};

Bitmap BitmapOf(const AviFile& file, const std::string& name) {
  if (file.fourcc == "UYVY") return {TKMJPG_UYVY, 2, true};
  if (file.fourcc == "YUY2" || file.fourcc == "YUYV") return {TKMJPG_YUY2, 2, true};
  const bool top_down = file.bitmap.top_down;
  switch (file.bitmap.bits) {
    case 16:
      return {TKMJPG_R555, 2, top_down};
    case 24:
      return {TKMJPG_BGR3, 3, top_down};
    case 32:
      return {TKMJPG_BGR4, 4, top_down};
    default:
      throw InputError(name + ": bitmaps of " + std::to_string(file.bitmap.bits) +
                       " bits a pixel; 16, 24 and 32 can be read");
  }
}

class AviPictureReader : public FrameReader {
 public:
  AviPictureReader(std::unique_ptr<AviReader> avi, std::string name,
                   std::optional<FieldOrder> field_order)
      : avi_(std::move(avi)),
        name_(std::move(name)),
        format_(avi_->Format()),
        bitmap_(BitmapOf(avi_->File(), name_)) {
    if (format_.width < 1 || format_.height < 1) throw InputError(name_ + ": tells no size");
    CheckPictureSize(name_, format_.width, format_.height);
    if (field_order) format_.field_order = *field_order;
    line_bytes_ = static_cast<size_t>(format_.width) * bitmap_.pixel_bytes;
    stride_ = (line_bytes_ + 3) / 4 * 4;  // lines of a bitmap are padded so
  }

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return avi_->FrameCount(); }
  SoundTracks OpenSound() override { return avi_->OpenSound(); }
  std::vector<std::string> Problems() const override { return avi_->File().problems; }

  bool Read(Bytes& raw) override {
    if (!avi_->Read(raw)) return false;
    const size_t last_line = static_cast<size_t>(format_.height - 1) * stride_;
    if (raw.empty() && !last_.empty()) {  // the frame before goes on
      raw = last_;
    } else if (raw.size() < last_line + line_bytes_) {
      throw InputError(name_ + ": frame " + std::to_string(frame_) + ": has " +
                       std::to_string(raw.size()) + " bytes of " +
                       std::to_string(last_line + line_bytes_));
    } else {
      last_ = raw;
    }
    ++frame_;
    return true;
  }

  int64_t Skip(int64_t frames) override {
    const int64_t count = avi_->Skip(frames, last_);
    frame_ += count;
    return count;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    const auto height = static_cast<size_t>(format_.height);
    picture.layout = bitmap_.layout;
    picture.stride = static_cast<int64_t>(line_bytes_);
    picture.pixels.resize(line_bytes_ * height);
    for (size_t y = 0; y < height; ++y) {
      const size_t line = bitmap_.top_down ? y : height - 1 - y;
      std::memcpy(picture.pixels.data() + y * line_bytes_, raw.data() + line * stride_,
                  line_bytes_);
    }
  }

 private:
  std::unique_ptr<AviReader> avi_;
  std::string name_;
  VideoFormat format_;
  Bitmap bitmap_;
  size_t line_bytes_ = 0, stride_ = 0;
  Bytes last_;
  int64_t frame_ = 0;
};

}  // namespace

std::unique_ptr<FrameReader> OpenAviPictures(const std::string& path,
                                             std::optional<FieldOrder> field_order) {
  auto avi = std::make_unique<AviReader>(OpenByteSource(path), path, AviVideoKind::kAny);
  if (avi->File().bitmap.bits == 0) return nullptr;
  return std::make_unique<AviPictureReader>(std::move(avi), path, field_order);
}

}  // namespace tkmjpg::tool
