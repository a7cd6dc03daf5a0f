#include "tools/tkmjpg/streams/segment_check.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/huffman_lookup.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr uint8_t kDac = 0xCC, kDnl = 0xDC;
constexpr size_t kMostComponents = 4;

bool IsFrameHeader(uint8_t marker) {
  return (marker & 0xF0) == 0xC0 && marker != kDht && marker != 0xC8 && marker != kDac;
}

// Those of ITU T.81 Table B.1 that have a segment and a meaning of their own.
bool IsKnown(uint8_t marker) {
  const bool application = (marker & 0xF0) == kApp0;
  return application || IsFrameHeader(marker) || marker == kDht || marker == kDac ||
         marker == kSos || marker == kDqt || marker == kDri || marker == kDnl || marker == kCom;
}

// Each reader of one table returns its size, 0 if it is none.
size_t QuantTableSize(Bytes bytes) {
  const size_t width = (bytes[0] >> 4) + 1U, size = 1 + 64 * width;
  if (width > 2 || (bytes[0] & 15) > 3 || bytes.size() < size) return 0;
  for (size_t k = 0; k < 64; ++k) {
    if (bytes[width * (k + 1)] == 0 && (width == 1 || bytes[2 * k + 1] == 0)) return 0;
  }
  return size;
}

size_t HuffmanTableSize(Bytes bytes) {
  constexpr size_t kHead = 17;
  if ((bytes[0] >> 4) > 1 || (bytes[0] & 15) > 3 || bytes.size() < kHead) return 0;
  const size_t size = std::accumulate(&bytes[1], &bytes[0] + kHead, kHead);
  return size <= bytes.size() && HuffmanLookup::Make(bytes.first(size)) ? size : 0;
}

template <typename SizeOf>
bool AreTables(Bytes payload, SizeOf size_of) {
  while (!payload.empty()) {
    const size_t size = size_of(payload);
    if (size == 0) return false;
    payload = payload.subspan(size);
  }
  return true;
}

bool IsFrame(Bytes payload) {
  if (payload.size() < 6 || payload[5] == 0 || payload[5] > kMostComponents) return false;
  if (payload.size() != 6 + 3U * payload[5]) return false;
  for (size_t at = 6; at < payload.size(); at += 3) {
    const int h = payload[at + 1] >> 4, v = payload[at + 1] & 15;
    if (h < 1 || h > 4 || v < 1 || v > 4 || payload[at + 2] > 3) return false;
  }
  return true;
}

bool IsScan(Bytes payload) {
  return !payload.empty() && payload[0] >= 1 && payload[0] <= kMostComponents &&
         payload.size() == 4 + 2U * payload[0];
}

bool MakesSense(uint8_t marker, Bytes payload) {
  if (!IsKnown(marker)) return false;
  if (IsFrameHeader(marker)) return IsFrame(payload);
  if (marker == kDqt) return AreTables(payload, QuantTableSize);
  if (marker == kDht) return AreTables(payload, HuffmanTableSize);
  if (marker == kDri) return payload.size() == 2;
  return marker != kSos || IsScan(payload);
}

}  // namespace

std::string CheckSegments(Bytes frame, const ImageAnalysis& image) {
  for (const Segment& segment : image.segments) {
    const Bytes payload = segment.end <= frame.size() && segment.payload <= segment.end
                              ? frame.subspan(segment.payload, segment.end - segment.payload)
                              : Bytes();
    if (MakesSense(segment.marker, payload)) continue;
    char text[80];
    std::snprintf(text, sizeof text, "the segment FF%02X at byte %zu makes no sense",
                  segment.marker, segment.offset);
    return text;
  }
  return {};
}

}  // namespace tkmjpg::tool
