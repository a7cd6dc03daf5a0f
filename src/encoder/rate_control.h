// Rate control: one number, the RateScale (1 to 256, larger is coarser), follows the sizes that
// images really took.
#pragma once

#include <cstdint>

namespace tkmjpg {

// The scale of a first frame: 2000 x frame_height / (image_target + 1), within [1, 256].
int32_t InitialRateScale(int32_t frame_height, int64_t image_target);

// The scale after an image of `size` bytes at `scale`: moved by three quarters of the relative
// miss, within [1, 256].
int32_t NextRateScale(int64_t size, int64_t image_target, int32_t scale);

// The scale of the quantisation tables for a RateScale: [0, 4096] for [1, 256]. A caller's record
// may hold any RateScale: at a table scale of 5000 all values are 255 already, and it stops there.
constexpr int32_t TableScale(int32_t rate_scale) {
  const int64_t square = int64_t{rate_scale} * rate_scale;
  return static_cast<int32_t>(square < 16 * 5000 ? (square + 8) / 16 : 5000);
}

// The sizes that strong rate control accepts, both ends included.
struct RateTarget {
  int64_t image_target;
  int64_t size_ceiling;  // 17/16 of the target
  int64_t size_floor;    // 3/4 of it
};
RateTarget MakeRateTarget(int32_t frame_target, bool two_images);

}  // namespace tkmjpg
