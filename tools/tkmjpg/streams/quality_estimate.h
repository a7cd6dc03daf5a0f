// Which quality of this encoder quantisation tables come nearest to.
#pragma once

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct NearestQuality {
  int quality = 0;
  bool exact = false;
};

// Tables 0 and 1 must be defined.
NearestQuality FindNearestQuality(const QuantTables& tables);

}  // namespace tkmjpg::tool
