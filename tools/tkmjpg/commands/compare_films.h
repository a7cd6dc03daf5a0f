// Two films side by side, frame by frame, on several threads.
#pragma once

#include <functional>

#include "tools/tkmjpg/commands/compare_output.h"
#include "tools/tkmjpg/commands/compared_film.h"
#include "tools/tkmjpg/commands/frame_range.h"

namespace tkmjpg::tool {

// Called in sequence.
using OnComparedFrame =
    std::function<void(const FrameResult& result, const ComparedFrame& a, const ComparedFrame& b)>;

// Throws InputError if the sizes differ, one film ends before the other does and the range, or a
// frame cannot be read.
// `summary` counts the frames until then.
void CompareFilms(ComparedFilm& a, ComparedFilm& b, const FrameRange& range, int threads,
                  CompareSummary& summary, const OnComparedFrame& on_frame);

}  // namespace tkmjpg::tool
