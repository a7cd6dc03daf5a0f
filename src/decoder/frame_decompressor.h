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

// Returns the position in `data` where reading stopped: behind the EOI of a sound frame. Whatever
// the data holds, only the first |width| pixels of |height| lines are written, and what could not
// be decoded stays as it was. An unknown format writes nothing. The carry's bit 0 is updated.
const uint8_t* DecompressFrame(const uint8_t* data, uint32_t size, uint8_t* out, int32_t stride,
                               int32_t width, int32_t height, uint32_t flags,
                               PixelFormatCode format, CodecCarryState* carry);

// Makes the image whose headers the parser has read ready to be decoded. False when it is none that
// can be: three components of 8 bits in both headers, the largest sampling factors 2 and 1.
bool SetupDecoder(DecoderContext& context);

}  // namespace tkmjpg
