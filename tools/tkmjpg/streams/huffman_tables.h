// The Huffman tables of an image: those of its DHT segments, of the image before, or the standard
// ones of ITU T.81 Annex K.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

HuffmanTables ClassifyHuffmanTables(std::span<const uint8_t> frame, const ImageAnalysis& image);

// Puts the tables of a DHT segment in their slots.
void TakeHuffmanTables(std::span<const uint8_t> frame, const Segment& segment, HuffmanSlots& slots);

// The tables, as DHT stores them, that the scan of an image means for a component: those in force
// under its numbers, else the standard ones.
struct ComponentTables {
  std::span<const uint8_t> dc, ac;
  bool standard = true;    // both are what Annex K has for this component
  bool inherited = false;  // both are those of the image before
};
ComponentTables TablesOfComponent(std::span<const uint8_t> frame, const ImageAnalysis& image,
                                  size_t component);

// One DHT segment with those of the tables 0 and 1 that the image does not define itself: those in
// force, else the standard ones. Empty if it defines all four.
std::vector<uint8_t> MissingHuffmanTables(std::span<const uint8_t> frame,
                                          const ImageAnalysis& image);

// DHT segments with the tables that the image does not define itself: those of the image before,
// else the standard ones.
std::vector<uint8_t> HuffmanTablesFromBefore(std::span<const uint8_t> frame,
                                             const ImageAnalysis& image);

// The tables of a DHT segment that there can be, each in a segment of its own.
std::vector<uint8_t> UsableHuffmanTables(std::span<const uint8_t> frame, const Segment& segment);

}  // namespace tkmjpg::tool
