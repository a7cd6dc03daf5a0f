#include "tools/tkmjpg/commands/yuv_planes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "tkmjpg.h"

namespace tkmjpg::tool {
namespace {

// Byte positions of Y0, Cb and Cr in a pair; the other luma is two bytes on.
struct PairOrder {
  int y, cb, cr;
};

bool FindPairOrder(uint32_t layout, PairOrder& order) {
  switch (layout) {
    case TKMJPG_YUY2:
    case TKMJPG_YUYV:
    case TKMJPG_YuYv:
      order = {0, 1, 3};
      return true;
    case TKMJPG_UYVY:
    case TKMJPG_UyVy:
      order = {1, 0, 2};
      return true;
    case TKMJPG_VYUY:
      order = {1, 2, 0};
      return true;
    default:
      return false;
  }
}

struct RowPointers {
  uint8_t *y, *cb, *cr;
};

// A line of odd width ends with half a pair, which holds one chroma byte; the other one repeats.
void SplitPackedRow(const uint8_t* in, const PairOrder& order, int width, const RowPointers& out) {
  const int bytes = 2 * width;
  const auto at = [&](int i, int position, uint8_t missing) {
    return 4 * i + position < bytes ? in[4 * i + position] : missing;
  };
  for (int i = 0; i < (width + 1) / 2; ++i) {
    out.y[2 * i] = in[4 * i + order.y];
    if (2 * i + 1 < width) out.y[2 * i + 1] = in[4 * i + order.y + 2];
    out.cb[i] = at(i, order.cb, i > 0 ? out.cb[i - 1] : 128);
    out.cr[i] = at(i, order.cr, i > 0 ? out.cr[i - 1] : 128);
  }
}

uint8_t Level(double value) {
  return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

double Luma(const uint8_t* p) {
  return 16 + (65.481 * p[2] + 128.553 * p[1] + 24.966 * p[0]) / 255;
}
double Cb(const uint8_t* p) { return (-37.797 * p[2] - 74.203 * p[1] + 112.0 * p[0]) / 255; }
double Cr(const uint8_t* p) { return (112.0 * p[2] - 93.786 * p[1] - 18.214 * p[0]) / 255; }

void SplitBgrRow(const uint8_t* in, int pixel_bytes, int width, const RowPointers& out) {
  for (int i = 0; i < (width + 1) / 2; ++i) {
    const uint8_t* first = in + static_cast<ptrdiff_t>(2 * i) * pixel_bytes;
    const uint8_t* second = 2 * i + 1 < width ? first + pixel_bytes : first;
    out.y[2 * i] = Level(Luma(first));
    if (second != first) out.y[2 * i + 1] = Level(Luma(second));
    out.cb[i] = Level(128 + (Cb(first) + Cb(second)) / 2);
    out.cr[i] = Level(128 + (Cr(first) + Cr(second)) / 2);
  }
}

}  // namespace

void MakeYuvPlanes(const Picture& picture, int width, int height, YuvPlanes& out) {
  const auto pairs = static_cast<size_t>((width + 1) / 2);
  const auto lines = static_cast<size_t>(height);
  out.planes[0].resize(static_cast<size_t>(width) * lines);
  out.planes[1].resize(pairs * lines);
  out.planes[2].resize(pairs * lines);
  PairOrder order{};
  const bool packed = FindPairOrder(picture.layout, order);
  for (size_t line = 0; line < lines; ++line) {
    const uint8_t* in = picture.pixels.data() + line * static_cast<size_t>(picture.stride);
    const RowPointers row = {out.planes[0].data() + line * static_cast<size_t>(width),
                             out.planes[1].data() + line * pairs,
                             out.planes[2].data() + line * pairs};
    if (packed) {
      SplitPackedRow(in, order, width, row);
    } else {
      SplitBgrRow(in, static_cast<int>(picture.stride / width), width, row);
    }
  }
}

}  // namespace tkmjpg::tool
