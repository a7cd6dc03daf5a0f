// Planes of any sampling, grey, Y Cb Cr or RGB, into the pictures that writers want.
#pragma once

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/streams/image_planes.h"

namespace tkmjpg::tool {

// Which lines of the picture an image has.
struct LineShare {
  int first = 0, step = 1;
  bool interpolated = false;  // twice as many lines as the image has
};

// Luma 0 to 255 and chroma 1 to 255, if `full_range`, else 16 to 235 and 240: for what is made of
// RGB, and to RGB. Other samples stay as they are, but for the layouts that limit luma. What
// exceeds the picture is left out, and pixels that the image does not reach stay.
void PutPlanes(const ImagePlanes& image, const LineShare& share, bool full_range, Picture& picture);

}  // namespace tkmjpg::tool
