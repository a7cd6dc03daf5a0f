// One picture to one compressed frame, with a buffer that is surely large enough.
#pragma once

#include <cstdint>
#include <memory>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct FrameSettings {
  int32_t quality = 75;  // or bytes a frame, with TKMJPG_C_RATE_CONTROL
  uint32_t flags = 0;
};

// Which field's image comes first in the stream. A decoder that is told nothing takes it for the
// bottom one; general players of AVI files with the extended header take it for the top one.
enum class FirstImage { kBottom, kTop };

// The flags that code both fields. Field code 1 marks the bottom one, 2 the top one, so a decoder
// that goes by the codes puts the lines right either way.
uint32_t FieldFlags(FieldOrder order, FirstImage first);

// Not for two threads at once: each has one of its own.
class FrameEncoder {
 public:
  FrameEncoder(const VideoFormat& format, const FrameSettings& settings);

  // Throws InputError if the codec refuses the picture; the text does not name it.
  void Encode(const Picture& picture, CodecCarryState* carry, Bytes& stream);

 private:
  int32_t width_, height_;
  FrameSettings settings_;
  uint32_t capacity_;
  std::unique_ptr<uint8_t[]> buffer_;
};

}  // namespace tkmjpg::tool
