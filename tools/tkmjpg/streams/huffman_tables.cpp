#include "tools/tkmjpg/streams/huffman_tables.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "frame/stream_format.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

// A table as DHT stores it: Tc/Th, 16 counts, values.
template <int N>
std::vector<uint8_t> TableBytes(uint8_t id, const HuffmanSpec<N>& huffman) {
  std::vector<uint8_t> bytes(17 + N);
  bytes[0] = id;
  std::ranges::copy(huffman.counts, bytes.begin() + 1);
  std::ranges::copy(huffman.values, bytes.begin() + 17);
  return bytes;
}

// In the order in which the encoder writes them.
const std::array<std::vector<uint8_t>, 4>& StandardTables() {
  static const std::array<std::vector<uint8_t>, 4> kTables = {
      TableBytes(0x00, kDcLumaSpec), TableBytes(0x10, kAcLumaSpec), TableBytes(0x01, kDcChromaSpec),
      TableBytes(0x11, kAcChromaSpec)};
  return kTables;
}

// Calls visit(table) for each table of the DHT segments, up to one that is cut short.
template <typename Visit>
void ForEachTable(Bytes frame, std::span<const Segment> segments, Visit visit) {
  for (const Segment& segment : segments) {
    if (segment.marker != kDht) continue;
    for (size_t at = segment.payload; at + 17 <= segment.end;) {
      const size_t count = std::accumulate(&frame[at + 1], &frame[at] + 17, size_t{0});
      if (at + 17 + count > segment.end) break;
      visit(frame.subspan(at, 17 + count));
      at += 17 + count;
    }
  }
}

bool IsStandard(Bytes table) {
  const auto& standard = StandardTables();
  return std::any_of(standard.begin(), standard.end(),
                     [&](const auto& one) { return std::ranges::equal(one, table); });
}

}  // namespace

HuffmanTables ClassifyHuffmanTables(Bytes frame, std::span<const Segment> segments) {
  bool any = false, all = true;
  ForEachTable(frame, segments, [&](Bytes table) {
    any = true;
    all = all && IsStandard(table);
  });
  if (!any) return HuffmanTables::kNone;
  return all ? HuffmanTables::kStandard : HuffmanTables::kOther;
}

ComponentTables TablesOfComponent(Bytes frame, const ImageAnalysis& image, size_t component) {
  const auto& standard = StandardTables();
  const size_t chroma = component == 0 ? 0 : 2;
  ComponentTables tables = {standard[chroma], standard[chroma + 1], true};
  const auto dc_id = static_cast<uint8_t>(image.shape[component].dc_table);
  const auto ac_id = static_cast<uint8_t>(0x10 | image.shape[component].ac_table);
  ForEachTable(frame, image.segments, [&](Bytes table) {
    if (&table[0] >= &frame[0] + image.scan_begin) return;  // comes too late
    if (table[0] == dc_id) tables.dc = table;
    if (table[0] == ac_id) tables.ac = table;
  });
  tables.standard =
      std::ranges::equal(tables.dc.subspan(1), Bytes(standard[chroma]).subspan(1)) &&
      std::ranges::equal(tables.ac.subspan(1), Bytes(standard[chroma + 1]).subspan(1));
  return tables;
}

std::vector<uint8_t> MissingHuffmanTables(Bytes frame, std::span<const Segment> segments) {
  std::vector<uint8_t> payload;
  for (const auto& standard : StandardTables()) {
    bool defined = false;
    ForEachTable(frame, segments, [&](Bytes table) { defined |= table[0] == standard[0]; });
    if (!defined) payload.insert(payload.end(), standard.begin(), standard.end());
  }
  if (payload.empty()) return {};
  const size_t length = payload.size() + 2;
  std::vector<uint8_t> segment = {0xFF, kDht, static_cast<uint8_t>(length >> 8),
                                  static_cast<uint8_t>(length)};
  segment.insert(segment.end(), payload.begin(), payload.end());
  return segment;
}

}  // namespace tkmjpg::tool
