// Comments of an image that say what its other markers cannot: the range of its samples, and which
// lines of the frame a field is. They stay when a stream moves to another container.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tkmjpg::tool {

enum class FieldLines { kEven, kOdd };  // of the frame, counted from 0

struct ImageMarks {
  bool limited = false;             // luma 16 to 235; FFmpeg and what is built on it know this one
  bool full = false;                // luma 0 to 255, though the header is one of limited range
  std::optional<FieldLines> lines;  // of a field
  bool earlier = false;             // the first field in time
};

// Adds what the payload of a COM segment says.
void TakeMark(std::span<const uint8_t> payload, ImageMarks& marks);

// The COM segments that say it.
std::vector<uint8_t> MarkSegments(const ImageMarks& marks);

}  // namespace tkmjpg::tool
