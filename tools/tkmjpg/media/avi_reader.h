// Frames and sound of an AVI file, one chunk's bytes at a time.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/avi_parser.h"
#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

class AviReader : public StreamReader {
 public:
  AviReader(std::unique_ptr<ByteSource> source, const std::string& name,
            AviVideoKind video = AviVideoKind::kMotionJpeg);

  const AviFile& File() const { return *file_; }
  const VideoFormat& Format() const override { return file_->format; }
  int64_t FrameCount() const override { return static_cast<int64_t>(file_->frames.size()); }
  bool Read(Bytes& stream) override;
  int64_t Skip(int64_t frames, Bytes& last) override;
  SoundTracks OpenSound() override;

 private:
  void ReadFrame(size_t number, Bytes& stream) const;

  std::shared_ptr<const ByteSource> source_;
  std::string name_;
  std::shared_ptr<const AviFile> file_;
  size_t next_ = 0;
};

}  // namespace tkmjpg::tool
