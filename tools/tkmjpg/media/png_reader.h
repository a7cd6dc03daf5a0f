// PNG pictures in: one, or a numbered sequence.
#pragma once

#include <memory>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/picture_files.h"

namespace tkmjpg::tool {

// `format` tells rate and field order; the size is that of the first picture. With `alpha` pictures
// are BGRA, else BGR3, transparent parts over black.
std::unique_ptr<FrameReader> OpenPng(const PictureFiles& files, const VideoFormat& format,
                                     bool alpha);

}  // namespace tkmjpg::tool
