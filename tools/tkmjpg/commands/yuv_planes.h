// Pictures of any layout as Y, Cb and Cr planes, 4:2:2, to be compared.
#pragma once

#include <array>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct YuvPlanes {
  std::array<Bytes, 3> planes;  // Y, Cb, Cr; chroma lines have (width + 1) / 2 samples
};

// RGB becomes ITU-R BT.601 with luma 16 to 235; the chroma of a pair is the mean of its pixels'.
void MakeYuvPlanes(const Picture& picture, int width, int height, YuvPlanes& out);

}  // namespace tkmjpg::tool
