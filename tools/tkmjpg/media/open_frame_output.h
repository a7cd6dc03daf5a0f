// Raw frames out, by the name of the output.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

struct FrameOutputOptions {
  std::string layout;      // of raw frames and uncompressed AVI
  bool alpha = false;      // of PNG
  SoundTracks sound = {};  // of AVI
  Overwrite overwrite = Overwrite::kRefuse;
};

// NAME.y4m and "-", NAME.png or NAME_%04d.png, NAME.avi, and raw frames: NAME.raw or NAME.yuv, or
// any name when a layout is given. Throws UsageError for what does not fit together; nothing has
// been opened then.
std::unique_ptr<FrameWriter> OpenFrameWriter(const std::string& name, const VideoFormat& format,
                                             const FrameOutputOptions& options);

// The layout of raw frames and checksums. Throws UsageError if there is none of this name.
uint32_t RawLayout(const std::string& name);

}  // namespace tkmjpg::tool
