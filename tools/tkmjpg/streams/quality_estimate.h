// Which quality of this encoder quantisation tables come nearest to.
#pragma once

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct NearestQuality {
  int quality = 0;
  bool exact = false;
};

// A search; quality 0 if the image has no tables.
NearestQuality FindNearestQuality(const ImageAnalysis& image);

}  // namespace tkmjpg::tool
