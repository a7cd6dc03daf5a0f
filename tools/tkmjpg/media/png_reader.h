// PNG pictures in: one, or a numbered sequence.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// `pattern` is one file or a name with %d or %04d, which counts from the first of 0 and 1 that
// exists to the first that does not. `format` tells rate and field order; the size is that of the
// first picture. With `alpha` pictures are BGRA, else BGR3, transparent parts over black.
std::unique_ptr<FrameReader> OpenPng(const std::string& pattern, const VideoFormat& format,
                                     bool alpha);

}  // namespace tkmjpg::tool
