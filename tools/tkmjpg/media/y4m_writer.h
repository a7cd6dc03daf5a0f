// Y4M out: 4:2:2, or planes of another chroma.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

// Luma and chroma are written as the stream holds them; the header says their range.
class Y4mWriter : public FrameWriter {
 public:
  Y4mWriter(const std::string& path, const VideoFormat& format, Overwrite overwrite);

  uint32_t Layout() const override;
  void Pack(const Picture& picture, Bytes& packed) const override;
  void Write(const Bytes& packed) override { file_.WriteWhole(packed); }
  void Finish() override { file_.Finish(); }

 private:
  int width_, height_;
  bool planar_;
  OutputFile file_;
};

}  // namespace tkmjpg::tool
