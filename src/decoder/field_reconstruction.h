// Decoding images into the lines of a frame: whole pictures, field pairs, and whole frames made of
// one field.
#pragma once

#include "decoder/decoder_context.h"

namespace tkmjpg {

// The caller's side of a DecompressFrame call.
struct FrameOutput {
  const uint8_t* data;
  uint8_t* out;
  int64_t stride;
  int32_t width;   // not negative
  int32_t height;  // not negative
  uint32_t flags;  // DecompressFlags
  bool invert_order;
};

// Decodes the prepared image into the lines at `lines`, `line_step` bytes apart. False when a
// restart marker is wrong; the lines ahead of it stand.
bool DecodeImage(DecoderContext& context, uint8_t* lines, int64_t line_step);

// Decodes a frame whose lines come from field images; the first one's headers have been read and
// set up. Keeps bit 0 of the carry's decode_flags: set when a second image was looked for in vain.
void DecodeFieldFrame(DecoderContext& context, const FrameOutput& frame, CodecCarryState* carry);

// Limits the size that the headers gave to the caller's.
void ClipSize(DecoderContext& context, int32_t width, int32_t height);

}  // namespace tkmjpg
