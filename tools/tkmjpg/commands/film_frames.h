// Whatever encode takes, as raw frames: also films, which are decoded.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/open_input.h"

namespace tkmjpg::tool {

// Motion-JPEG and JPEG pictures in any container, uncompressed AVI, and what OpenFrameReader takes.
std::unique_ptr<FrameReader> OpenFrames(const std::string& name, const InputOptions& options);

}  // namespace tkmjpg::tool
