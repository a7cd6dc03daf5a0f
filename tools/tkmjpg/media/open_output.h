// Compressed frames out, by the name of the output.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

// NAME.avi, NAME.mjpg or NAME.mjpeg, NAME.jpg or NAME_%04d.jpg, and "-", frames back to back to
// standard output. Throws UsageError for any other name. AVI alone has sound and a
// comment.
std::unique_ptr<StreamWriter> OpenStreamWriter(const std::string& name, const VideoFormat& format,
                                               Overwrite overwrite, const SoundTracks& sound = {},
                                               const std::string& comment = {});

// The part of a name after its last dot, in lower case; empty if there is none.
std::string Extension(const std::string& name);

}  // namespace tkmjpg::tool
