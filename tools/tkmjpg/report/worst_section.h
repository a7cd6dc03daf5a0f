// The frames that differ most as HTML: source, decoded and difference, and what their waveforms
// are.
#pragma once

#include <span>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/report/worst_frames.h"

namespace tkmjpg::tool {

void WriteWorstSection(std::span<const KeptFrame> frames, const VideoFormat& format,
                       bool full_range, OutputFile& file);

}  // namespace tkmjpg::tool
