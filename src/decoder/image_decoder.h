// An image whose headers have been read: band by band into lines.
#pragma once

#include <cstdint>

#include "decoder/decoder_context.h"
#include "decoder/mcu_row.h"

namespace tkmjpg {

// Receives the bands of an image, from the top down. An image that turns out to be damaged starts
// again at the top.
class BandSink {
 public:
  // Where the lines `first` to `first` + `count` - 1 of the image go.
  virtual BandRows Next(int first, int count) = 0;
  // They have been written.
  virtual void Done(int /*first*/, int /*count*/) {}

 protected:
  ~BandSink() = default;
};

// Makes the image whose headers the parser has read ready to be decoded into a picture of `width` x
// `height`. False when it is none that can be: three components of 8 bits in both headers, the
// largest sampling factors 2 and 1.
bool SetUpImage(DecoderContext& context, int32_t width, int32_t height);

// Decodes the image. False when a restart marker is wrong; the lines before it stand.
bool DecodeImage(DecoderContext& context, BandSink& sink);

// The same into the lines at `lines`, `line_step` bytes apart.
bool DecodeImage(DecoderContext& context, uint8_t* lines, int64_t line_step);

}  // namespace tkmjpg
