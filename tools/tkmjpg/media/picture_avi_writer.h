// Uncompressed AVI out: YUY2, or BGR3 as bitmaps are stored.
#pragma once

#include <string>

#include "tools/tkmjpg/media/avi_writer.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

class PictureAviWriter : public FrameWriter {
 public:
  // `layout` is TKMJPG_YUY2 or TKMJPG_BGR3.
  PictureAviWriter(const std::string& path, const VideoFormat& format, uint32_t layout,
                   Overwrite overwrite, const SoundTracks& sound = {});

  uint32_t Layout() const override { return layout_; }
  void Pack(const Picture& picture, Bytes& packed) const override;
  void Write(const Bytes& packed) override { avi_.Write(packed); }
  void EndSoundHere() override { avi_.EndSoundHere(); }
  void Finish() override { avi_.Finish(); }

 private:
  uint32_t layout_;
  int height_;
  Range range_;  // of the pictures; YUV in AVI is taken for limited
  AviWriter avi_;
};

}  // namespace tkmjpg::tool
