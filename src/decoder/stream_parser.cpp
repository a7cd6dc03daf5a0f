#include "decoder/stream_parser.h"

#include <algorithm>

#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// From the zig-zag position to the transposed natural index: 0, 8, 1, 2, 9, 16, ...
constexpr std::array<uint8_t, 64> MakeTransposedZigZag() {
  std::array<uint8_t, 64> order{};
  for (int k = 0; k < 64; ++k) {
    order[k] = static_cast<uint8_t>(8 * (kZigZag[k] % 8) + kZigZag[k] / 8);
  }
  return order;
}
constexpr std::array<uint8_t, 64> kTransposedZigZag = MakeTransposedZigZag();

int32_t Word(const uint8_t* p) { return p[0] << 8 | p[1]; }

// Where the bytes of a marker are passed: after `position`, or null at the end of the data.
const uint8_t* FindMarkerCode(const uint8_t* position, const uint8_t* end) {
  position = std::find(position, end, uint8_t{0xFF});
  position = std::find_if(position, end, [](uint8_t byte) { return byte != 0xFF; });
  return position == end ? nullptr : position;
}

// The readers of segments take p, the first byte of the length field, and the end of the data.
// False: the scan ends, refused or cut.

bool ReadFrameHeader(const uint8_t* p, const uint8_t* end, DecoderContext& context) {
  if (end - p < 8) return false;
  ImageHeader& header = context.header;
  header.precision = p[2];
  header.height = Word(p + 3);
  header.width = Word(p + 5);
  header.components = p[7];
  // Three records whatever Nf says: an image of another count is refused later.
  for (int i = 0; i < 3; ++i) {
    const uint8_t* component = p + 8 + 3 * i;
    if (end - component < 3 || component[2] > 3) return false;
    header.sampling[i] = {static_cast<uint32_t>(component[1] >> 4), component[1] & 0xFU};
  }
  return true;
}

bool ReadScanHeader(const uint8_t* p, const uint8_t* end, DecoderContext& context) {
  if (Word(p) < 12 || end - p < 3) return false;
  context.header.scan_components = p[2];
  if (end - p < 12 || p[11] != 0) return false;
  context.last_dc = {};
  return true;
}

void StoreQuantValues(const uint8_t* values, bool words, QuantValues& slot) {
  for (int k = 0; k < 64; ++k) {
    slot[kTransposedZigZag[k]] = static_cast<uint16_t>(words ? Word(values + 2 * k) : values[k]);
  }
}

// A table that is cut short or has no slot ends the segment; tables before it stand.
bool ReadQuantTables(const uint8_t* p, const uint8_t* end, DecoderContext& context) {
  const int32_t length = Word(p);
  if (end - p < length) return false;
  const uint8_t* const segment_end = p + length;
  const uint8_t* q = p + 2;
  while (q < segment_end && *q != 0xFF && (*q & 0xF) <= 3) {
    const bool words = (*q >> 4) != 0;
    const int table_bytes = words ? 129 : 65;
    if (segment_end - q < table_bytes) break;
    StoreQuantValues(q + 1, words, context.quant_slots[*q & 0xF]);
    q += table_bytes;
  }
  return true;
}

bool ReadRestartInterval(const uint8_t* p, const uint8_t* end, DecoderContext& context) {
  if (end - p < 4) return false;
  context.restart_interval = static_cast<uint32_t>(Word(p + 2));
  return true;
}

bool ReadSegment(uint8_t code, const uint8_t* p, const uint8_t* end, DecoderContext& context) {
  switch (code) {
    case kSof0:
      return ReadFrameHeader(p, end, context);
    case kSos:
      return ReadScanHeader(p, end, context);
    case kDqt:
      return ReadQuantTables(p, end, context);
    case kDri:
      return ReadRestartInterval(p, end, context);
    default:
      return true;
  }
}

// The segments after SOI. Returns the first entropy-coded byte, the position after an EOI, or
// `end` when the data ran out or a header was refused.
const uint8_t* ScanSegments(const uint8_t* p, const uint8_t* end, DecoderContext& context) {
  for (;;) {
    p = FindMarkerCode(p, end);
    if (p == nullptr) return end;
    const uint8_t code = *p++;
    if (code == 0x00) continue;
    if (code == kEoi) return p;
    if (end - p < 2 || !ReadSegment(code, p, end, context)) return end;
    const int32_t length = Word(p);
    if (end - p <= length) return end;
    p += length;
    if (code == kSos) return p;
  }
}

}  // namespace

bool StartImage(DecoderContext& context) {
  EntropyInput& input = context.input;
  const uint8_t* p = FindMarkerCode(input.read_pos, input.data_end);
  if (p != nullptr && *p != kSoi) return false;
  input.read_pos = p == nullptr ? input.data_end : ScanSegments(p + 1, input.data_end, context);
  input.pending_marker = 0;
  return input.read_pos != input.data_end;
}

}  // namespace tkmjpg
