#include "tools/tkmjpg/media/png_reader.h"

#include <png.h>

#include <algorithm>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/picture_files.h"
#include "tools/tkmjpg/media/video_text.h"

namespace tkmjpg::tool {
namespace {

// libpng's own reader for whole pictures; whatever way the function is left, it lets go.
class PngImage {
 public:
  PngImage(std::string name, const uint8_t* bytes, size_t size) : name_(std::move(name)) {
    image_.version = PNG_IMAGE_VERSION;
    png_image_begin_read_from_memory(&image_, bytes, size);
    Check();
  }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;
  ~PngImage() { png_image_free(&image_); }

  int64_t Width() const { return image_.width; }
  int64_t Height() const { return image_.height; }

  void Decode(bool alpha, int64_t stride, uint8_t* pixels) {
    const png_color black{};
    image_.format = alpha ? PNG_FORMAT_BGRA : PNG_FORMAT_BGR;
    image_.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    png_image_finish_read(&image_, &black, pixels, static_cast<png_int_32>(stride), nullptr);
    Check();
  }

 private:
  void Check() const {
    if (PNG_IMAGE_FAILED(image_)) throw InputError(name_ + ": " + image_.message);
  }

  std::string name_;
  png_image image_{};
};

class PngReader : public FrameReader {
 public:
  PngReader(const PictureFiles& files, const VideoFormat& format, bool alpha)
      : files_(files), format_(format), alpha_(alpha) {
    const std::string name = files_.Name(0);
    Bytes first;
    ReadWholeFile(name, first);
    const PngImage image(name, first.data(), first.size());
    CheckPictureSize(name, image.Width(), image.Height());
    format_.width = static_cast<int>(image.Width());
    format_.height = static_cast<int>(image.Height());
  }

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return files_.Count(); }

  // The file's name and a 0 byte, for messages, then the file.
  bool Read(Bytes& raw) override {
    if (frame_ == files_.Count()) return false;
    const std::string name = files_.Name(frame_++);
    Bytes file;
    ReadWholeFile(name, file);
    raw.assign(name.begin(), name.end());
    raw.push_back(0);
    raw.insert(raw.end(), file.begin(), file.end());
    return true;
  }

  int64_t Skip(int64_t frames) override {
    const int64_t count = std::min(frames, files_.Count() - frame_);
    frame_ += count;
    return count;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    const auto zero = std::find(raw.begin(), raw.end(), uint8_t{0});
    const std::string name(raw.begin(), zero);
    PngImage image(name, &*zero + 1, static_cast<size_t>(raw.end() - zero - 1));
    if (image.Width() != format_.width || image.Height() != format_.height) {
      throw InputError(name + ": is " + std::to_string(image.Width()) + "x" +
                       std::to_string(image.Height()) + ", the first picture " +
                       std::to_string(format_.width) + "x" + std::to_string(format_.height));
    }
    picture.layout = alpha_ ? TKMJPG_BGRA : TKMJPG_BGR3;
    picture.stride = int64_t{alpha_ ? 4 : 3} * format_.width;
    picture.pixels.resize(static_cast<size_t>(picture.stride * format_.height));
    image.Decode(alpha_, picture.stride, picture.pixels.data());
  }

 private:
  PictureFiles files_;
  VideoFormat format_;
  bool alpha_;
  int64_t frame_ = 0;
};

}  // namespace

std::unique_ptr<FrameReader> OpenPng(const PictureFiles& files, const VideoFormat& format,
                                     bool alpha) {
  return std::make_unique<PngReader>(files, format, alpha);
}

}  // namespace tkmjpg::tool
