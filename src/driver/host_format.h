// Arithmetic on host headers. Their fields are a stranger's: magnitudes and products are taken in
// 64 bits, so that no value of a field overflows.
#pragma once

#include <cstdint>

#include "platform/host_messages.h"

namespace tkmjpg {

constexpr uint32_t Fourcc(const char (&name)[5]) {
  uint32_t code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<uint8_t>(name[i]);
  return code;
}

inline constexpr uint32_t kMjpg = Fourcc("MJPG");

constexpr uint64_t Magnitude(int64_t value) {
  return static_cast<uint64_t>(value < 0 ? -value : value);
}

// |biSizeImage|: some hosts hold the field for a signed one.
constexpr uint32_t SizeImage(const BITMAPINFOHEADER& format) {
  return static_cast<uint32_t>(Magnitude(static_cast<int32_t>(format.biSizeImage)));
}

// Bytes of a stored line, a multiple of 4. The count of pixels may be negative: rounding comes
// before the sign goes.
constexpr uint64_t RowBytes(const BITMAPINFOHEADER& format) {
  const int64_t bytes = int64_t{format.biBitCount / 8} * format.biWidth;
  return Magnitude((bytes + 3) & ~int64_t{3});
}

// Where the picture's top line lies in the host's buffer, and the way from it to the next.
struct RowLayout {
  int64_t first;
  int32_t stride;
};

// RGB lies bottom-up if its height is positive; packed YUV always lies top-down. [row x height]
// fits 32 bits.
constexpr RowLayout LocateRows(uint32_t row, uint32_t height, bool bottom_up) {
  const auto stride = static_cast<int32_t>(row);
  if (!bottom_up || height == 0) return {.first = 0, .stride = stride};
  return {.first = int64_t{height - 1} * row, .stride = -stride};
}

}  // namespace tkmjpg
