// A curve over all frames of a film, in memory that is bounded however long the film is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tkmjpg::tool {

// What a run of frames has in common: no screen shows more of it.
struct CurvePoint {
  double low = 0, high = 0, sum = 0;
  int64_t frames = 0;
  double Mean() const { return sum / static_cast<double>(frames); }
};

class Curve {
 public:
  static constexpr size_t kMostPoints = 2048;

  void Add(double value);
  // Each of so many frames; the last one may have fewer.
  int64_t FramesPerPoint() const { return frames_per_point_; }
  const std::vector<CurvePoint>& Points() const { return points_; }

 private:
  void JoinPairs();

  std::vector<CurvePoint> points_;
  int64_t frames_per_point_ = 1;
};

}  // namespace tkmjpg::tool
