// WAV sound in.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

// RIFF, or RF64 where sound is longer than 4 GiB. Throws InputError.
std::shared_ptr<SoundReader> OpenWav(const std::string& path);

}  // namespace tkmjpg::tool
