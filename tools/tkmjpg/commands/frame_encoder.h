// One picture to one compressed frame, with a buffer that is surely large enough.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/streams/frame_form.h"

namespace tkmjpg::tool {

// What the frames are for: general players, or hosts that have the driver. A stream for players
// says all that they need; one for the driver is what its default options expect.
enum class Profile { kPlayers, kDriver };

struct FrameSettings {
  int32_t quality = 75;  // or bytes a frame, with TKMJPG_C_RATE_CONTROL
  uint32_t flags = 0;
  Range range = Range::kLimited;  // of the stream
  std::optional<FrameForm> form;  // what is put into the encoder's frames
};

// For players the first image has the even lines, which is where all of them put it; with code 1,
// so that those that go by the published convention of the AVI1 segment do too. The driver takes
// the image with code 1 for the odd lines, and expects it first.
uint32_t FieldFlags(FieldOrder order, Profile profile);

// None for the driver.
std::optional<FrameForm> FormOf(const VideoFormat& format, Range range, Profile profile);

// Not for two threads at once: each has one of its own.
class FrameEncoder {
 public:
  FrameEncoder(const VideoFormat& format, const FrameSettings& settings);

  // Throws InputError if the codec refuses the picture; the text does not name it.
  void Encode(const Picture& picture, CodecCarryState* carry, Bytes& stream);

 private:
  const Picture& InRange(const Picture& picture);
  void ConvertR555(const Picture& picture);
  void ConvertBgr(const Picture& picture);

  VideoFormat format_;
  FrameSettings settings_;
  uint32_t capacity_;
  std::unique_ptr<uint8_t[]> buffer_;
  Picture bgr_, converted_;
};

}  // namespace tkmjpg::tool
