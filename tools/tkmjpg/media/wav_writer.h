// WAV sound out.
#pragma once

#include <string>

#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

// Sound that begins later than the picture has silence before it, if it can be cut. RF64 where it
// is longer than 4 GiB.
void WriteWav(const std::string& path, SoundReader& sound, Overwrite overwrite);

}  // namespace tkmjpg::tool
