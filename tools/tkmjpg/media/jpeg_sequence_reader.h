// Each frame in a file of its own: one .jpg, or frame_%04d.jpg.
#pragma once

#include <optional>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/picture_files.h"

namespace tkmjpg::tool {

class JpegSequenceReader : public StreamReader {
 public:
  // `format` tells what the pictures do not.
  JpegSequenceReader(const std::string& pattern, std::optional<int64_t> start,
                     const VideoFormat& format)
      : files_(pattern, start), format_(format) {}

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return files_.Count(); }
  bool Read(Bytes& stream) override;
  int64_t Skip(int64_t frames, Bytes& last) override;

 private:
  PictureFiles files_;
  VideoFormat format_;
  int64_t next_ = 0;
};

}  // namespace tkmjpg::tool
