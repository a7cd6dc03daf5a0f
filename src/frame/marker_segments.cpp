#include "frame/marker_segments.h"

#include <algorithm>

namespace tkmjpg {
namespace {

struct Component {
  uint8_t component_id, sampling, quant_index, huffman_tables;
};
// Sampling is horizontal << 4 | vertical, tables are DC << 4 | AC.
constexpr Component kComponents[3] = {{0, 0x21, 0, 0x00}, {1, 0x11, 1, 0x11}, {2, 0x11, 1, 0x11}};

template <int N>
constexpr std::array<uint8_t, 17 + N> TableBytes(uint8_t class_and_id,
                                                 const HuffmanSpec<N>& huffman) {
  std::array<uint8_t, 17 + N> bytes{class_and_id};
  std::copy(huffman.counts.begin(), huffman.counts.end(), bytes.begin() + 1);
  std::copy(huffman.values.begin(), huffman.values.end(), bytes.begin() + 17);
  return bytes;
}

constexpr auto kDcLumaTable = TableBytes(0x00, kDcLumaSpec);
constexpr auto kAcLumaTable = TableBytes(0x10, kAcLumaSpec);
constexpr auto kDcChromaTable = TableBytes(0x01, kDcChromaSpec);
constexpr auto kAcChromaTable = TableBytes(0x11, kAcChromaSpec);

void PutQuantTable(MarkerSegment& segment, const NumberedQuantTable& table) {
  const bool words = *std::max_element(table.steps.begin(), table.steps.end()) > 255;
  segment.PutByte((words ? 0x10U : 0U) | table.number);
  for (const uint16_t step : table.steps) words ? segment.PutWord(step) : segment.PutByte(step);
}

}  // namespace

constexpr std::array<std::span<const uint8_t>, 4> kStandardHuffmanTables = {
    kDcLumaTable, kAcLumaTable, kDcChromaTable, kAcChromaTable};

MarkerSegment::MarkerSegment(Marker marker, std::span<const uint8_t> payload) {
  bytes_[0] = 0xFF;
  bytes_[1] = marker;
  PutBytes(payload);
}

void MarkerSegment::PutByte(uint32_t byte) {
  const auto value = static_cast<uint8_t>(byte);
  PutBytes({&value, 1});
}

void MarkerSegment::PutWord(uint32_t word) {
  PutByte(word >> 8);
  PutByte(word);
}

void MarkerSegment::PutBytes(std::span<const uint8_t> bytes) {
  const size_t count = std::min(bytes.size(), kCapacity - size_);
  std::copy_n(bytes.begin(), count, bytes_.begin() + static_cast<ptrdiff_t>(size_));
  size_ += count;
  bytes_[2] = static_cast<uint8_t>((size_ - 2) >> 8);
  bytes_[3] = static_cast<uint8_t>(size_ - 2);
}

MarkerSegment Avi1Segment(FieldCode field_code, bool with_sizes) {
  const uint8_t payload[14] = {'A', 'V', 'I', '1', field_code};
  return MarkerSegment(kApp0, {payload, with_sizes ? 14U : 8U});
}

MarkerSegment JfifSegment(uint8_t minor_version) {
  // Version, no density unit, density 1 x 1, no thumbnail.
  const uint8_t payload[14] = {'J', 'F', 'I', 'F', 0, 1, minor_version, 0, 0, 1, 0, 1, 0, 0};
  return MarkerSegment(kApp0, payload);
}

MarkerSegment Dc30Segment() {
  constexpr uint8_t kPayload[8] = {'D', 'C', '3', '0', 4, 1, 0, 0};
  return MarkerSegment(kCom, kPayload);
}

MarkerSegment RestartIntervalSegment(uint32_t mcus) {
  MarkerSegment segment(kDri);
  segment.PutWord(mcus);
  return segment;
}

MarkerSegment QuantTablesSegment(std::span<const NumberedQuantTable> tables) {
  MarkerSegment segment(kDqt);
  for (const NumberedQuantTable& table : tables) PutQuantTable(segment, table);
  return segment;
}

MarkerSegment HuffmanTablesSegment(std::span<const std::span<const uint8_t>> tables) {
  MarkerSegment segment(kDht);
  for (const std::span<const uint8_t> table : tables) segment.PutBytes(table);
  return segment;
}

MarkerSegment FrameHeaderSegment(uint32_t width, uint32_t height) {
  MarkerSegment segment(kSof0);
  segment.PutByte(8);
  segment.PutWord(height);
  segment.PutWord(width);
  segment.PutByte(3);
  for (const Component& c : kComponents) {
    segment.PutByte(c.component_id);
    segment.PutByte(c.sampling);
    segment.PutByte(c.quant_index);
  }
  return segment;
}

MarkerSegment ScanHeaderSegment() {
  constexpr uint8_t kSpectralSelection[3] = {0, 63, 0};  // Ss, Se, Ah and Al
  MarkerSegment segment(kSos);
  segment.PutByte(3);
  for (const Component& c : kComponents) {
    segment.PutByte(c.component_id);
    segment.PutByte(c.huffman_tables);
  }
  segment.PutBytes(kSpectralSelection);
  return segment;
}

std::array<uint8_t, 8> SizeFieldBytes(uint64_t image_size, uint64_t image_data_size) {
  std::array<uint8_t, 8> bytes;
  for (uint32_t i = 0; i < 4; ++i) {
    bytes[i] = static_cast<uint8_t>(image_size >> (24 - 8 * i));
    bytes[4 + i] = static_cast<uint8_t>(image_data_size >> (24 - 8 * i));
  }
  return bytes;
}

}  // namespace tkmjpg
