#include "gstreamer/field_arrangement.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace tkmjpg::gst {
namespace {

int64_t Difference(const uint8_t* a, const uint8_t* b, int bytes) {
  int64_t sum = 0;  // [0, 255 x bytes]
  for (int i = 0; i < bytes; ++i) sum += std::abs(a[i] - b[i]);
  return sum;
}

}  // namespace

Arrangement JudgeArrangement(const GstVideoFrame& frame) {
  const auto* pixels = static_cast<const uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
  const ptrdiff_t stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
  const int bytes = GST_VIDEO_FRAME_WIDTH(&frame) * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, 0);
  // Lines 2k and 2k + 1 are neighbours either way. As it is, 2k + 1 and 2k + 2 are too; swapped,
  // 2k and 2k + 3 are.
  int64_t as_is = 0, swapped = 0;
  for (int y = 0; y + 3 < GST_VIDEO_FRAME_HEIGHT(&frame); y += 2) {
    const uint8_t* line = pixels + y * stride;
    as_is += Difference(line + stride, line + 2 * stride, bytes);
    swapped += Difference(line, line + 3 * stride, bytes);
  }
  // A quarter more is clear. A picture without vertical detail decides nothing.
  if (4 * swapped > 5 * as_is) return Arrangement::kAsIs;
  if (4 * as_is > 5 * swapped) return Arrangement::kSwapped;
  return Arrangement::kUnclear;
}

}  // namespace tkmjpg::gst
