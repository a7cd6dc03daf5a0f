// Uncompressed AVI in: BGR of 16, 24 and 32 bits, bottom-up or top-down, YUY2 and UYVY.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// Null if the video is compressed. `field_order` is used in place of what the file says.
std::unique_ptr<FrameReader> OpenAviPictures(const std::string& path,
                                             std::optional<FieldOrder> field_order);

}  // namespace tkmjpg::tool
