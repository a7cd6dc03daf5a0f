// Frames whose lines come from field images: pairs, and whole frames made of one field.
#pragma once

#include <cstdint>

#include "decoder/decoder_context.h"

namespace tkmjpg {

// The caller's side of a call.
struct FrameTarget {
  const uint8_t* data;  // the stream's first byte
  uint8_t* out;
  int64_t stride;
  int32_t width;   // not negative
  int32_t height;  // not negative
};

struct FieldChoices {
  bool one_field_only;  // the second image is not looked for
  bool smart;           // a frame made of one field is interpolated, not doubled
  bool even_first;      // the first image has the even lines
};

// Decodes a frame; the first image's headers have been read and set up. Keeps bit 0 of the carry's
// decode_flags: set when a second image was looked for in vain.
void DecodeFieldFrame(DecoderContext& context, const FrameTarget& target,
                      const FieldChoices& choices, CodecCarryState* carry);

}  // namespace tkmjpg
