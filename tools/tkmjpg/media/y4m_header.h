// The first line of a Y4M file.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/planar_rows.h"

namespace tkmjpg::tool {

struct Y4mHeader {
  VideoFormat video;
  PlanarFormat planes;  // `interlaced` is not set here: the user may know better
  bool mixed = false;   // Im: each frame says how it is interlaced
};

// Throws std::invalid_argument that says what is wrong with `line`.
Y4mHeader ParseY4mHeader(const std::string& line);

}  // namespace tkmjpg::tool
