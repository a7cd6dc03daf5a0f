// Which lines the first image of a field pair has, from the picture: writers do not agree on what
// the field codes of the AVI1 segment mean.
#pragma once

#include <gst/video/video.h>

namespace tkmjpg::gst {

enum class Arrangement { kUnclear, kAsIs, kSwapped };

// Of the arrangement of `frame` and the one with each two lines swapped, the one whose lines
// differ clearly less from line to line.
Arrangement JudgeArrangement(const GstVideoFrame& frame);

}  // namespace tkmjpg::gst
