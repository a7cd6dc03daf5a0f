#include "tools/tkmjpg/streams/huffman_tables.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>

#include "frame/marker_segments.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

// Calls visit(table) for each table of a DHT segment, up to one that is cut short.
template <typename Visit>
void ForEachTable(Bytes frame, const Segment& segment, Visit visit) {
  if (segment.marker != kDht) return;
  for (size_t at = segment.payload; at + 17 <= segment.end;) {
    const size_t count = std::accumulate(&frame[at + 1], &frame[at] + 17, size_t{0});
    if (at + 17 + count > segment.end) break;
    visit(frame.subspan(at, 17 + count));
    at += 17 + count;
  }
}

bool IsStandard(Bytes table) {
  return std::ranges::any_of(kStandardHuffmanTables,
                             [&](Bytes one) { return std::ranges::equal(one, table); });
}

// Of a table's Tc/Th.
std::optional<size_t> SlotOf(size_t class_and_id) {
  const size_t table_class = class_and_id >> 4, id = class_and_id & 15;
  if (table_class > 1 || id > 3) return {};
  return 4 * table_class + id;
}

std::optional<Bytes> TableInForce(Bytes frame, const ImageAnalysis& image, size_t class_and_id) {
  const std::optional<size_t> slot = SlotOf(class_and_id);
  if (!slot || image.huffman_slots.places[*slot].size == 0) return {};
  return frame.subspan(image.huffman_slots.places[*slot].offset,
                       image.huffman_slots.places[*slot].size);
}

// The standard table that stands under a number which no DHT defines. Where there is no table at
// all the numbers say nothing, and it is that of the component.
Bytes DefaultTable(const ImageAnalysis& image, size_t class_and_id, Bytes of_component) {
  const bool none = std::ranges::all_of(image.huffman_slots.places,
                                        [](const auto& place) { return place.size == 0; });
  if (none || (class_and_id & 15) > 1) return of_component;
  return *std::ranges::find(kStandardHuffmanTables, class_and_id, [](Bytes one) { return one[0]; });
}

void PutTable(std::vector<uint8_t>& out, Bytes table) {
  const MarkerSegment segment = HuffmanTablesSegment({{table}});
  out.insert(out.end(), segment.Bytes().begin(), segment.Bytes().end());
}

bool IsInherited(const ImageAnalysis& image, size_t class_and_id) {
  const std::optional<size_t> slot = SlotOf(class_and_id);
  return slot && image.huffman_slots.inherited[*slot];
}

}  // namespace

HuffmanTables ClassifyHuffmanTables(Bytes frame, const ImageAnalysis& image) {
  bool any = false, all = true;
  for (const Segment& segment : image.segments) {
    ForEachTable(frame, segment, [&](Bytes table) {
      any = true;
      all = all && IsStandard(table);
    });
  }
  if (any) return all ? HuffmanTables::kStandard : HuffmanTables::kOther;
  const bool inherited = std::ranges::any_of(image.huffman_slots.inherited, std::identity());
  return inherited ? HuffmanTables::kInherited : HuffmanTables::kNone;
}

void TakeHuffmanTables(Bytes frame, const Segment& segment, HuffmanSlots& slots) {
  ForEachTable(frame, segment, [&](Bytes table) {
    const std::optional<size_t> slot = SlotOf(table[0]);
    if (!slot) return;
    slots.places[*slot] = {static_cast<size_t>(&table[0] - &frame[0]), table.size()};
    slots.inherited[*slot] = false;
  });
}

ComponentTables TablesOfComponent(Bytes frame, const ImageAnalysis& image, size_t component) {
  const Bytes standard_dc = kStandardHuffmanTables[component == 0 ? 0 : 2];
  const Bytes standard_ac = kStandardHuffmanTables[component == 0 ? 1 : 3];
  const size_t dc = image.shape[component].dc_table, ac = 0x10 | image.shape[component].ac_table;
  ComponentTables tables;
  tables.dc = TableInForce(frame, image, dc).value_or(DefaultTable(image, dc, standard_dc));
  tables.ac = TableInForce(frame, image, ac).value_or(DefaultTable(image, ac, standard_ac));
  tables.standard = std::ranges::equal(tables.dc.subspan(1), standard_dc.subspan(1)) &&
                    std::ranges::equal(tables.ac.subspan(1), standard_ac.subspan(1));
  tables.inherited = IsInherited(image, dc) && IsInherited(image, ac);
  return tables;
}

std::vector<uint8_t> MissingHuffmanTables(Bytes frame, const ImageAnalysis& image) {
  std::vector<Bytes> missing;
  for (const Bytes standard : kStandardHuffmanTables) {
    const std::optional<Bytes> table = TableInForce(frame, image, standard[0]);
    if (!table || IsInherited(image, standard[0])) missing.push_back(table.value_or(standard));
  }
  if (missing.empty()) return {};
  const MarkerSegment segment = HuffmanTablesSegment(missing);
  return {segment.Bytes().begin(), segment.Bytes().end()};
}

std::vector<uint8_t> HuffmanTablesFromBefore(Bytes frame, const ImageAnalysis& image) {
  std::vector<uint8_t> out;
  const HuffmanSlots& slots = image.huffman_slots;
  for (size_t i = 0; i < slots.places.size(); ++i) {
    if (slots.inherited[i])
      PutTable(out, frame.subspan(slots.places[i].offset, slots.places[i].size));
  }
  for (const Bytes standard : kStandardHuffmanTables) {
    if (!TableInForce(frame, image, standard[0])) PutTable(out, standard);
  }
  return out;
}

std::vector<uint8_t> UsableHuffmanTables(Bytes frame, const Segment& segment) {
  constexpr size_t kMostBytes = 17 + 256;
  std::vector<uint8_t> out;
  ForEachTable(frame, segment, [&](Bytes table) {
    if (SlotOf(table[0]) && table.size() <= kMostBytes) PutTable(out, table);
  });
  return out;
}

}  // namespace tkmjpg::tool
