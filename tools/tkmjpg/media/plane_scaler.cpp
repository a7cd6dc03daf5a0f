#include "tools/tkmjpg/media/plane_scaler.h"

#include <algorithm>
#include <cstring>

namespace tkmjpg::tool {
namespace {

constexpr int64_t kOne = 256;

int64_t FloorDivided(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

// Sums stay within 16 bits: 128 + 255 x 256.
void AddRow(const uint8_t* __restrict row, uint16_t weight, uint16_t* __restrict sums,
            size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] = static_cast<uint16_t>(sums[i] + row[i] * weight);
}

void HighBytes(const uint16_t* __restrict sums, uint8_t* __restrict out, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(sums[i] >> 8);
}

}  // namespace

ScaledAxis::ScaledAxis(int size, int source, int made)
    : size_(size), source_(source), made_(made) {}

ScaledAxis::Taps ScaledAxis::At(int position) const {
  return source_ <= made_ ? Between(position) : Mean(position);
}

// Beyond the edges the last sample repeats.
void ScaledAxis::Add(Taps& taps, int64_t index, int64_t weight) const {
  if (weight == 0 || taps.count == Taps::kMost) return;
  const auto i = static_cast<size_t>(taps.count++);
  taps.index[i] = static_cast<int>(std::clamp<int64_t>(index, 0, size_ - 1));
  taps.weight[i] = static_cast<uint16_t>(weight);
}

// Samples stand in the middle of what they cover.
ScaledAxis::Taps ScaledAxis::Between(int64_t position) const {
  const int64_t scaled = (2 * position + 1) * source_ - made_, unit = 2 * made_;
  const int64_t index = FloorDivided(scaled, unit);
  const int64_t second = (scaled - index * unit) * kOne / unit;
  Taps taps;
  Add(taps, index, kOne - second);
  Add(taps, index + 1, second);
  return taps;
}

ScaledAxis::Taps ScaledAxis::Mean(int64_t position) const {
  const int64_t begin = position * source_, end = begin + source_;  // in parts of a sample
  Taps taps;
  int64_t given = 0;
  for (int64_t index = begin / made_; index * made_ < end; ++index) {
    const int64_t covered = std::min(end, (index + 1) * made_) - begin;
    const int64_t weight = covered * kOne / source_ - given;
    Add(taps, index, weight);
    given += weight;
  }
  return taps;
}

PlaneScaler::PlaneScaler(const Plane& plane, const ScaledAxis& x, const ScaledAxis& y, int width)
    : plane_(plane), y_(y), same_width_(x.IsSame() && width <= plane.width) {
  const auto columns = static_cast<size_t>(plane.width);
  sums_.resize(columns);
  blended_.resize(columns);
  if (same_width_) return;
  row_.resize(static_cast<size_t>(width));
  for (int i = 0; i < width; ++i) columns_.push_back(x.At(i));
}

const uint8_t* PlaneScaler::Row(int y) {
  const uint8_t* row = Blend(y_.At(y));
  if (same_width_) return row;
  Spread(row);
  return row_.data();
}

const uint8_t* PlaneScaler::Blend(const ScaledAxis::Taps& taps) {
  const auto row = [&](size_t i) {
    return plane_.samples + plane_.stride * static_cast<size_t>(taps.index[i]);
  };
  if (taps.count == 1) return row(0);
  std::ranges::fill(sums_, uint16_t{kOne / 2});
  for (size_t i = 0; i < static_cast<size_t>(taps.count); ++i) {
    AddRow(row(i), taps.weight[i], sums_.data(), sums_.size());
  }
  HighBytes(sums_.data(), blended_.data(), sums_.size());
  return blended_.data();
}

void PlaneScaler::Spread(const uint8_t* row) {
  for (size_t i = 0; i < row_.size(); ++i) {
    const ScaledAxis::Taps& taps = columns_[i];
    int64_t sum = kOne / 2;
    for (size_t t = 0; t < static_cast<size_t>(taps.count); ++t) {
      sum += row[taps.index[t]] * taps.weight[t];
    }
    row_[i] = static_cast<uint8_t>(sum / kOne);
  }
}

}  // namespace tkmjpg::tool
