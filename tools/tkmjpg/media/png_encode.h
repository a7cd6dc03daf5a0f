// One PNG picture, as the bytes of its file.
#pragma once

#include <cstdint>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

enum class PngColour { kGrey, kBgr, kBgra };

struct PngPicture {
  const uint8_t* pixels = nullptr;
  int64_t stride = 0;
  uint32_t width = 0, height = 0;
  PngColour colour = PngColour::kBgr;
};

// `level` is zlib's, 1 to 9.
void EncodePng(const PngPicture& picture, int level, Bytes& packed);

}  // namespace tkmjpg::tool
