// One frame's stream to a picture of a fixed size, on any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

// decode_flags of a carry record that no frame has used.
inline constexpr uint32_t kNewMemory = CodecCarryState(TKMJPG_CARRY_INIT).decode_flags;

struct DecodedFrame {
  uint32_t memory_before = 0;  // decode_flags of the carry record, as decoding found them
  uint32_t memory_after = 0;   // and as it left them
  std::string refusal;         // why nothing was decoded; empty if it was
  FrameDamage damage;          // what is wrong with the images all the same
};

// Beside TkmjpgDecompressFlags: marks of the images do not change which lines they have.
inline constexpr uint32_t kIgnoreLinesMarks = 0x80000000;

class FrameDecoder {
 public:
  // `flags` are TkmjpgDecompressFlags. Layout 0: planes, with this chroma.
  FrameDecoder(int width, int height, uint32_t layout, uint32_t flags, Chroma chroma = Chroma::k422)
      : width_(width), height_(height), layout_(layout), flags_(flags), chroma_(chroma) {}

  // Pixels that the stream does not reach are black, whatever the picture held.
  DecodedFrame Decode(std::span<const uint8_t> stream, uint32_t memory, Picture& picture) const;

  void MakeBlack(Picture& picture) const;

  // Those that the frame is decoded with.
  uint32_t FlagsOf(const FrameAnalysis& frame) const;

 private:
  void Prepare(Picture& picture) const;
  bool GoesThroughPlanes() const;
  // `result` has what is known before.
  DecodedFrame DecodeWithCodec(std::span<const uint8_t> stream, const FrameAnalysis& frame,
                               DecodedFrame result, Picture& picture) const;
  // Returns how many images the codec found sound.
  uint32_t RunCodec(std::span<const uint8_t> stream, uint32_t flags, DecodedFrame& result,
                    Picture& picture) const;
  DecodedFrame DecodeThroughPlanes(std::span<const uint8_t> stream, const FrameAnalysis& frame,
                                   DecodedFrame result, Picture& picture) const;

  int width_, height_;
  uint32_t layout_, flags_;
  Chroma chroma_;
};

}  // namespace tkmjpg::tool
