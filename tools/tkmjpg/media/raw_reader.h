// Raw frames in, one after the other, of a size and layout that the user tells.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

std::unique_ptr<FrameReader> OpenRaw(const std::string& path, const VideoFormat& format,
                                     uint32_t layout);

// The layout of a name such as YUY2 or BGR3; 0 if the encoder takes none of this name.
uint32_t RawLayoutByName(const std::string& name);

}  // namespace tkmjpg::tool
