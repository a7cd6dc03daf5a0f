// PPM and PGM pictures in: one, or a numbered sequence.
#pragma once

#include <memory>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/picture_files.h"

namespace tkmjpg::tool {

// `format` tells rate and field order; the size is that of the first picture. Pictures are BGR3.
std::unique_ptr<FrameReader> OpenPnm(const PictureFiles& files, const VideoFormat& format);

}  // namespace tkmjpg::tool
