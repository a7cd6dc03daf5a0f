// Frames whose images this codec does not read, decoded through libjpeg-turbo.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

// What planes of this image lose nothing with, as far as a film can be stored in such: otherwise
// 4:4:4, or 4:2:2 if chroma has half of the columns or less.
Chroma ChromaOf(const ImageAnalysis& image);

struct OtherPicture {
  std::string refusal;  // why nothing was decoded; empty if it was
  std::string damage;
};

// Into a picture that is prepared and black, with as many lines as `height`. Two images are fields,
// as they are for the codec: the first one on the odd lines, with the same `flags`
// (TkmjpgDecompressFlags) to change that. A single image of half the height is on all lines.
OtherPicture DecodeOtherImages(std::span<const uint8_t> stream, const FrameAnalysis& frame,
                               int height, uint32_t flags, Picture& picture);

// A packed YuYv picture of even width into another one, which is prepared: planes or any layout,
// a pixel narrower perhaps.
void PutPacked(const Picture& packed, int width, int height, bool full_range, Picture& picture);

}  // namespace tkmjpg::tool
