// The decoder's core: one stream to one raw frame.
#pragma once

#include <cstdint>

#include "decoder/decoder_context.h"

namespace tkmjpg {

// DecompressFlags: the bits that DecompressFrame reads.
enum DecompressFlags : uint32_t {
  kOneFieldSmart = 0x100,
  kOneFieldOnly = 0x200,
  kInvertFieldsOrder = 0x400,
  kUseAvi1Markers = 0x2000,
  kFullColor = 0x4000,
};

struct DecompressedFrame {
  // Where in `data` reading stopped: after the EOI of an undamaged frame, in its entropy-coded data
  // if lines at the bottom were not wanted.
  const uint8_t* stop;
  // How many images it took, if all were read to their ends and nothing was found in them that an
  // encoder cannot have written; else 0, though they need not be damaged.
  uint32_t sound_images;
};

// Whatever the data holds, only the
// first |width| pixels of |height| lines are written. An unknown format writes nothing. The carry's
// bit 0 is updated. `by_definition` keeps the fast rows out: tests compare them with it.
DecompressedFrame DecompressFrame(const uint8_t* data, uint32_t size, uint8_t* out, int32_t stride,
                                  int32_t width, int32_t height, uint32_t flags,
                                  PixelFormatCode format, CodecCarryState* carry,
                                  bool by_definition = false);

}  // namespace tkmjpg
