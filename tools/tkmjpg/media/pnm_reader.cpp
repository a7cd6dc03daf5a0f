#include "tools/tkmjpg/media/pnm_reader.h"

#include <algorithm>
#include <cctype>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/video_text.h"

namespace tkmjpg::tool {
namespace {

struct PnmHeader {
  int64_t width = 0, height = 0, white = 0;
  size_t channels = 0;
  size_t samples = 0;  // where they begin

  size_t SampleCount() const {
    return static_cast<size_t>(width) * static_cast<size_t>(height) * channels;
  }
};

// "P6 WIDTH HEIGHT WHITE" and one white space; comments run from # to the end of a line.
class HeaderParser {
 public:
  HeaderParser(std::span<const uint8_t> bytes, const std::string& name)
      : bytes_(bytes), name_(name) {}

  PnmHeader Parse() {
    PnmHeader header;
    const bool colour = bytes_.size() > 2 && bytes_[0] == 'P' && bytes_[1] == '6';
    const bool grey = bytes_.size() > 2 && bytes_[0] == 'P' && bytes_[1] == '5';
    if (!colour && !grey) throw InputError(name_ + ": is no binary PPM or PGM: P6 or P5");
    header.channels = colour ? 3 : 1;
    at_ = 2;
    header.width = Number();
    header.height = Number();
    header.white = Number();
    header.samples = at_ + 1;
    CheckPictureSize(name_, header.width, header.height);
    if (header.white > 255) throw InputError(name_ + ": has more than 8 bits a sample");
    return header;
  }

 private:
  int Peek() const { return at_ < bytes_.size() ? bytes_[at_] : -1; }

  void SkipSpace() {
    while (Peek() == '#' || std::isspace(Peek()) != 0) {
      const bool comment = Peek() == '#';
      while (comment && Peek() >= 0 && Peek() != '\n') ++at_;
      if (Peek() >= 0) ++at_;
    }
  }

  int64_t Number() {
    constexpr int64_t kMost = 1'000'000;
    SkipSpace();
    const size_t begin = at_;
    int64_t number = 0;
    for (; std::isdigit(Peek()) != 0; ++at_) {
      number = std::min(number * 10 + (Peek() - '0'), kMost);
    }
    if (at_ == begin || number == 0) {
      throw InputError(name_ + ": no number in the header, at byte " + std::to_string(begin));
    }
    return number;
  }

  std::span<const uint8_t> bytes_;
  const std::string& name_;
  size_t at_ = 0;
};

class PnmReader : public FrameReader {
 public:
  PnmReader(const PictureFiles& files, const VideoFormat& format) : files_(files), format_(format) {
    const std::string name = files_.Name(0);
    Bytes first;
    ReadWholeFile(name, first);
    const PnmHeader header = HeaderParser(first, name).Parse();
    format_.width = static_cast<int>(header.width);
    format_.height = static_cast<int>(header.height);
  }

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return files_.Count(); }

  // Three samples a pixel from 0 to 255.
  bool Read(Bytes& raw) override {
    if (file_ == files_.Count()) return false;
    const std::string name = files_.Name(file_++);
    ReadWholeFile(name, raw);
    const PnmHeader header = HeaderParser(raw, name).Parse();
    Check(header, raw.size(), name);
    raw.erase(raw.begin(), raw.begin() + static_cast<ptrdiff_t>(header.samples));
    raw.resize(header.SampleCount());
    if (header.white != 255) {
      for (uint8_t& sample : raw) {
        sample = static_cast<uint8_t>(
            (std::min<int64_t>(sample, header.white) * 255 + header.white / 2) / header.white);
      }
    }
    return true;
  }

  int64_t Skip(int64_t frames) override {
    const int64_t count = std::min(frames, files_.Count() - file_);
    file_ += count;
    return count;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    picture.layout = TKMJPG_BGR3;
    picture.stride = int64_t{3} * format_.width;
    picture.pixels.resize(static_cast<size_t>(picture.stride * format_.height));
    const bool colour = raw.size() == picture.pixels.size();
    for (size_t i = 0; i + 3 <= picture.pixels.size(); i += 3) {
      const uint8_t* const pixel = raw.data() + (colour ? i : i / 3);
      picture.pixels[i] = pixel[colour ? 2 : 0];
      picture.pixels[i + 1] = pixel[colour ? 1 : 0];
      picture.pixels[i + 2] = pixel[0];
    }
  }

 private:
  void Check(const PnmHeader& header, size_t size, const std::string& name) const {
    if (header.width != format_.width || header.height != format_.height) {
      throw InputError(name + ": is " + std::to_string(header.width) + "x" +
                       std::to_string(header.height) + ", the first picture " +
                       std::to_string(format_.width) + "x" + std::to_string(format_.height));
    }
    if (size < header.samples + header.SampleCount()) {
      throw InputError(name + ": ends at byte " + std::to_string(size) + ", within the picture");
    }
  }

  PictureFiles files_;
  VideoFormat format_;
  int64_t file_ = 0;
};

}  // namespace

std::unique_ptr<FrameReader> OpenPnm(const PictureFiles& files, const VideoFormat& format) {
  return std::make_unique<PnmReader>(files, format);
}

}  // namespace tkmjpg::tool
