// The marker segments of an image, byte for byte (ITU T.81 B.2, the AVI1 segment), and what follows
// its EOI.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/stream_format.h"

namespace tkmjpg {

// One segment from its marker on, built up by appending. What exceeds the capacity is left out.
class MarkerSegment {
 public:
  // Four Huffman tables of as many codes as there can be.
  static constexpr size_t kCapacity = 4 + 4 * (17 + 256);

  explicit MarkerSegment(Marker marker, std::span<const uint8_t> payload = {});

  void PutByte(uint32_t byte);
  void PutWord(uint32_t word);
  void PutBytes(std::span<const uint8_t> bytes);

  // With the length field that belongs to them.
  std::span<const uint8_t> Bytes() const { return {bytes_.data(), size_}; }

 private:
  std::array<uint8_t, kCapacity> bytes_;
  size_t size_ = 4;
};

struct NumberedQuantTable {
  uint32_t number;                 // [0, 3]
  std::array<uint16_t, 64> steps;  // zig-zag order
};

// The long AVI1 segment has size fields, 0 until PutSizeFields.
MarkerSegment Avi1Segment(FieldCode field_code, bool with_sizes);
MarkerSegment JfifSegment(uint8_t minor_version);
MarkerSegment Dc30Segment();
MarkerSegment RestartIntervalSegment(uint32_t mcus);
// A table with a step above 255 has 16-bit steps.
MarkerSegment QuantTablesSegment(std::span<const NumberedQuantTable> tables);
// `tables` as DHT stores them: Tc/Th, 16 counts, values.
MarkerSegment HuffmanTablesSegment(std::span<const std::span<const uint8_t>> tables);
// One frame of three components, 0, 1 and 2, with MCUs of 16 by 8 pixels.
MarkerSegment FrameHeaderSegment(uint32_t width, uint32_t height);
MarkerSegment ScanHeaderSegment();

// The tables of ITU T.81 Annex K in the order in which they are written: 0x00, 0x10, 0x01, 0x11.
extern const std::array<std::span<const uint8_t>, 4> kStandardHuffmanTables;

// Where the two size fields of a long AVI1 segment lie, from the marker's 0xFF.
inline constexpr size_t kSizeFieldsOffset = 10;
// Sizes of an image from its SOI on: with the fill, and up to its EOI.
std::array<uint8_t, 8> SizeFieldBytes(uint64_t image_size, uint64_t image_data_size);

// Bytes of 0xFF after an EOI at `position` of a frame: at least 8, up to a multiple of 8. [8, 15]
constexpr uint64_t FillSize(uint64_t position) { return 8 + (-position & 7); }

}  // namespace tkmjpg
