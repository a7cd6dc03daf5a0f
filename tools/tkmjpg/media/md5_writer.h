// The checksum of raw frames, as RawWriter writes them.
#pragma once

#include <string>

#include "tools/tkmjpg/commands/md5.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

class Md5Writer : public FrameWriter {
 public:
  explicit Md5Writer(uint32_t layout) : layout_(layout) {}

  const std::string& Digest() const { return digest_; }  // once finished

  uint32_t Layout() const override { return layout_; }
  void Pack(const Picture& picture, Bytes& packed) const override { packed = picture.pixels; }
  void Write(const Bytes& packed) override { md5_.Add(packed); }
  void Finish() override { digest_ = md5_.Finish(); }

 private:
  uint32_t layout_;
  Md5 md5_;
  std::string digest_;
};

}  // namespace tkmjpg::tool
