#include "encoder/rate_control.h"

#include <algorithm>

namespace tkmjpg {
namespace {

int32_t ClampScale(int64_t scale) {
  return static_cast<int32_t>(std::clamp<int64_t>(scale, 1, 256));
}

}  // namespace

int32_t InitialRateScale(int32_t frame_height, int64_t image_target) {
  return ClampScale(int64_t{2000} * frame_height / (image_target + 1));
}

int32_t NextRateScale(int64_t size, int64_t image_target, int32_t scale) {
  // A caller's record may hold any scale. One above this gives 256 like this one, and the product
  // stays below 2^63 for sizes and targets below 2^44.
  constexpr int32_t kSaturated = 1 << 16;
  return ClampScale(((3 * size + image_target) * std::min(scale, kSaturated) + 2 * image_target) /
                    (4 * image_target + 1));
}

RateTarget MakeRateTarget(int32_t frame_target, bool two_images) {
  const int64_t target = std::max(frame_target, 0);
  const int shift = two_images ? 1 : 0;
  return {target >> shift, (target + (target >> 4)) >> shift, (target - (target >> 2)) >> shift};
}

}  // namespace tkmjpg
