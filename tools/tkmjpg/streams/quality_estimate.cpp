#include "tools/tkmjpg/streams/quality_estimate.h"

#include <cstdlib>

#include "encoder/quant_tables.h"
#include "frame/stream_format.h"

namespace tkmjpg::tool {
namespace {

using TablePair = std::array<std::array<uint16_t, 64>, 2>;  // zig-zag order

TablePair TablesOf(int quality) {
  EncoderContext context;
  BuildQuantTablesFromQuality(context, quality);
  TablePair pair;
  for (size_t t = 0; t < 2; ++t) {
    for (size_t k = 0; k < 64; ++k) pair[t][k] = context.quant_tables[t].values[kZigZag[k]];
  }
  return pair;
}

const std::array<TablePair, 101>& TablesOfAllQualities() {
  static const auto kTables = [] {
    std::array<TablePair, 101> tables{};
    for (int quality = 1; quality <= 100; ++quality) tables[quality] = TablesOf(quality);
    return tables;
  }();
  return kTables;
}

int64_t Distance(const ImageAnalysis& a, const TablePair& b) {
  int64_t sum = 0;
  for (size_t t = 0; t < (a.components == 1 ? 1 : 2); ++t) {
    const auto& steps = a.QuantStepsOf(t);
    for (size_t k = 0; k < 64; ++k) sum += std::abs(steps[k] - b[t][k]);
  }
  return sum;
}

}  // namespace

NearestQuality FindNearestQuality(const ImageAnalysis& image) {
  NearestQuality nearest;
  const bool both = image.quant.defined[0] && image.quant.defined[1];
  if (!both && !image.HasItsQuantTables()) return nearest;
  int64_t least = INT64_MAX;
  for (int quality = 1; quality <= 100; ++quality) {
    const int64_t distance = Distance(image, TablesOfAllQualities()[quality]);
    if (distance >= least) continue;
    least = distance;
    nearest = {quality, distance == 0};
  }
  return nearest;
}

}  // namespace tkmjpg::tool
