// Raw frames out, one after the other.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

class RawWriter : public FrameWriter {
 public:
  RawWriter(const std::string& path, uint32_t layout, Overwrite overwrite)
      : layout_(layout), file_(path, overwrite) {}

  uint32_t Layout() const override { return layout_; }
  void Pack(const Picture& picture, Bytes& packed) const override { packed = picture.pixels; }
  void Write(const Bytes& packed) override { file_.WriteWhole(packed); }
  void Finish() override { file_.Finish(); }

 private:
  uint32_t layout_;
  OutputFile file_;
};

}  // namespace tkmjpg::tool
