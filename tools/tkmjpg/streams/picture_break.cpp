#include "tools/tkmjpg/streams/picture_break.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace tkmjpg::tool {
namespace {

constexpr int32_t kMostDifference = 64;  // so that a few edges do not count for a whole row
constexpr int64_t kTimesUsual = 3, kSmallestStep = 4;

// How far each MCU is from the one above it; the first row has none.
std::vector<int32_t> StepsDown(std::span<const int32_t> means, size_t columns) {
  std::vector<int32_t> steps;
  for (size_t i = columns; i < means.size(); ++i) {
    steps.push_back(std::min(std::abs(means[i] - means[i - columns]), kMostDifference));
  }
  return steps;
}

// Of `columns` steps from each place on.
std::vector<int64_t> WindowSums(std::span<const int32_t> steps, size_t columns) {
  std::vector<int64_t> sums;
  int64_t sum = 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    sum += steps[i] - (i >= columns ? steps[i - columns] : 0);
    if (i + 1 >= columns) sums.push_back(sum);
  }
  return sums;
}

int64_t MedianOf(std::vector<int64_t> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

}  // namespace

std::optional<size_t> FindBreak(std::span<const int32_t> means, size_t columns) {
  if (columns == 0 || means.size() < 3 * columns) return {};
  const std::vector<int64_t> sums = WindowSums(StepsDown(means, columns), columns);
  const auto width = static_cast<int64_t>(columns);
  const int64_t limit = std::max(
      {kTimesUsual * MedianOf(sums), kSmallestStep * width, *std::ranges::max_element(sums) / 2});
  const auto above = std::ranges::find_if(sums, [&](int64_t sum) { return sum >= limit; });
  if (above == sums.end()) return {};
  const auto end = above + std::min<ptrdiff_t>(width, sums.end() - above);
  const auto highest = std::max_element(above, end);
  return static_cast<size_t>(highest - sums.begin()) + columns;
}

}  // namespace tkmjpg::tool
