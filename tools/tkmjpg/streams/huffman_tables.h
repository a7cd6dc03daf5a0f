// DHT segments: whether they hold the tables of ITU T.81 Annex K, and writing those.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

HuffmanTables ClassifyHuffmanTables(std::span<const uint8_t> frame,
                                    std::span<const Segment> segments);

// The tables, as DHT stores them, that the scan of an image means for a component: those that its
// numbers say or, where no DHT defines them, the standard ones.
struct ComponentTables {
  std::span<const uint8_t> dc, ac;
  bool standard = true;  // both are what Annex K has for this component
};
ComponentTables TablesOfComponent(std::span<const uint8_t> frame, const ImageAnalysis& image,
                                  size_t component);

// One DHT segment with those of the four standard tables that `segments` do not define; empty if
// they define all four.
std::vector<uint8_t> MissingHuffmanTables(std::span<const uint8_t> frame,
                                          std::span<const Segment> segments);

}  // namespace tkmjpg::tool
