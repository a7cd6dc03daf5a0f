// Y4M out, 4:2:2.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

// Luma and chroma are written as the stream holds them, not limited to 16 to 235.
class Y4mWriter : public FrameWriter {
 public:
  // `full_range`: the header says that luma and chroma run over 0 to 255.
  Y4mWriter(const std::string& path, const VideoFormat& format, bool full_range,
            Overwrite overwrite);

  uint32_t Layout() const override;
  void Pack(const Picture& picture, Bytes& packed) const override;
  void Write(const Bytes& packed) override { file_.Write(packed); }
  void Finish() override { file_.Finish(); }

 private:
  int width_, height_;
  OutputFile file_;
};

}  // namespace tkmjpg::tool
