// One frame's stream to a picture of a fixed size, on any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct DecodedFrame {
  uint32_t memory_before = 0;  // decode_flags of the carry record, as decoding found them
  uint32_t memory_after = 0;   // and as it left them
  std::string refusal;         // why nothing was decoded; empty if it was
  std::string damage;          // what is wrong with the images all the same
};

class FrameDecoder {
 public:
  // `flags` are TkmjpgDecompressFlags.
  FrameDecoder(int width, int height, uint32_t layout, uint32_t flags)
      : width_(width), height_(height), layout_(layout), flags_(flags) {}

  // Pixels that the stream does not reach are black, whatever the picture held.
  DecodedFrame Decode(std::span<const uint8_t> stream, uint32_t memory, Picture& picture) const;

  void MakeBlack(Picture& picture) const;

 private:
  void Prepare(Picture& picture) const;

  int width_, height_;
  uint32_t layout_, flags_;
};

}  // namespace tkmjpg::tool
