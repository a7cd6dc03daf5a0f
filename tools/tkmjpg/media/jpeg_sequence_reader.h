// Each frame in a file of its own: one .jpg, or frame_%04d.jpg counted from 0 or 1.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/sequence_name.h"

namespace tkmjpg::tool {

class JpegSequenceReader : public StreamReader {
 public:
  explicit JpegSequenceReader(const std::string& pattern);

  const VideoFormat& Format() const override { return format_; }
  bool Read(Bytes& stream) override;

 private:
  SequenceName names_;
  VideoFormat format_;
  int64_t first_ = 0;
  int64_t next_ = 0;
};

}  // namespace tkmjpg::tool
