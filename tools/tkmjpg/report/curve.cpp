#include "tools/tkmjpg/report/curve.h"

#include <algorithm>

namespace tkmjpg::tool {
namespace {

CurvePoint Joined(const CurvePoint& a, const CurvePoint& b) {
  return {std::min(a.low, b.low), std::max(a.high, b.high), a.sum + b.sum, a.frames + b.frames};
}

}  // namespace

void Curve::Add(double value) {
  const CurvePoint one = {value, value, value, 1};
  if (!points_.empty() && points_.back().frames < frames_per_point_) {
    points_.back() = Joined(points_.back(), one);
    return;
  }
  if (points_.size() == kMostPoints) JoinPairs();
  points_.push_back(one);
}

void Curve::JoinPairs() {
  for (size_t i = 0; i < points_.size() / 2; ++i) {
    points_[i] = Joined(points_[2 * i], points_[2 * i + 1]);
  }
  points_.resize(points_.size() / 2);
  frames_per_point_ *= 2;
}

}  // namespace tkmjpg::tool
