// A plane of samples on another grid, row by row.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tkmjpg::tool {

// One axis. Where the new grid is finer, a sample is interpolated between the two nearest; where it
// is coarser, it is the mean of those that it covers. Both grids begin at the same edge.
class ScaledAxis {
 public:
  // `source` / `made` samples of the plane, which has `size`, for each one that is made, at most 4.
  ScaledAxis(int size, int source, int made);

  struct Taps {
    static constexpr int kMost = 6;
    int count = 0;
    std::array<int, kMost> index{};
    std::array<uint16_t, kMost> weight{};  // 256 in all
  };
  Taps At(int position) const;
  bool IsSame() const { return source_ == made_; }

 private:
  Taps Between(int64_t position) const;
  Taps Mean(int64_t position) const;
  void Add(Taps& taps, int64_t index, int64_t weight) const;

  int64_t size_, source_, made_;
};

class PlaneScaler {
 public:
  struct Plane {
    const uint8_t* samples = nullptr;
    size_t stride = 0;
    int width = 0;
  };

  // Rows of `width` samples. The plane has to stay.
  PlaneScaler(const Plane& plane, const ScaledAxis& x, const ScaledAxis& y, int width);

  const uint8_t* Row(int y);  // until the next call

 private:
  const uint8_t* Blend(const ScaledAxis::Taps& taps);
  void Spread(const uint8_t* row);

  Plane plane_;
  ScaledAxis y_;
  bool same_width_;
  std::vector<ScaledAxis::Taps> columns_;
  std::vector<uint16_t> sums_;
  std::vector<uint8_t> blended_, row_;
};

}  // namespace tkmjpg::tool
