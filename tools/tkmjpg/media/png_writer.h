// PNG pictures out: one, or a numbered sequence from 0 on.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/sequence_name.h"

namespace tkmjpg::tool {

class PngWriter : public FrameWriter {
 public:
  PngWriter(const std::string& pattern, const VideoFormat& format, bool alpha, Overwrite overwrite);

  uint32_t Layout() const override;
  void Pack(const Picture& picture, Bytes& packed) const override;  // the whole file
  void Write(const Bytes& packed) override;
  void Finish() override {}  // each file was whole when it got its name

 private:
  SequenceName names_;
  uint32_t width_, height_;
  bool alpha_;
  Overwrite overwrite_;
  int64_t next_ = 0;
};

}  // namespace tkmjpg::tool
