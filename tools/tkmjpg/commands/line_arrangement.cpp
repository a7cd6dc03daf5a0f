#include "tools/tkmjpg/commands/line_arrangement.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tkmjpg::tool {
namespace {

constexpr int kLines = 8;      // of a window, four of each field
constexpr int kPixelStep = 4;  // bytes: each other pixel
constexpr int kLeastRise = 24;
constexpr int kNoise = 2;  // a sample, of what does not move
constexpr int64_t kFewEdges = 64, kManyEdges = 2000;
constexpr double kClearMargin = 2, kCertainMargin = 8;

// Luma of kLines lines at one place of a picture.
class Window {
 public:
  Window(const uint8_t* top, int64_t stride) : top_(top), stride_(stride) {}

  int Even(int n) const { return top_[2 * n * stride_]; }
  int Odd(int n) const { return top_[(2 * n + 1) * stride_]; }

  bool IsLike(const Window& other) const {
    int difference = 0;
    for (int n = 0; n < kLines / 2; ++n) {
      difference += std::abs(Even(n) - other.Even(n)) + std::abs(Odd(n) - other.Odd(n));
    }
    return difference <= kLines * kNoise;
  }

 private:
  const uint8_t* top_;
  int64_t stride_;
};

bool Goes(int from, int to, int sign, int tolerance) { return (to - from) * sign >= -tolerance; }

// Both fields have the same edge from one level to another, with both levels within the window. If
// the odd lines lie below the even ones, they reach the second level earlier. 1: they do; -1: the
// even ones do; 0: there is no such edge, or it says nothing.
int Vote(const Window& window) {
  const int rise = window.Even(3) - window.Even(0), size = std::abs(rise);
  if (size < kLeastRise) return 0;
  const int sign = rise > 0 ? 1 : -1;
  if (std::abs(window.Even(0) - window.Odd(0)) > size / 4) return 0;
  if (std::abs(window.Even(3) - window.Odd(3)) > size / 4) return 0;
  for (int n = 0; n < 3; ++n) {
    if (!Goes(window.Even(n), window.Even(n + 1), sign, size / 16)) return 0;
    if (!Goes(window.Odd(n), window.Odd(n + 1), sign, size / 16)) return 0;
  }
  const int earlier = (window.Odd(1) + window.Odd(2) - window.Even(1) - window.Even(2)) * sign;
  if (std::abs(earlier) <= size / 4) return 0;
  return earlier > 0 ? 1 : -1;
}

}  // namespace

void LineArrangement::Add(Picture& picture, int height) {
  const int64_t stride = picture.stride;
  const bool has_before = before_.pixels.size() == picture.pixels.size();
  for (int64_t y = 0; y + kLines <= height; y += 2) {
    for (int64_t at = y * stride; at < (y + 1) * stride; at += kPixelStep) {
      const Window window(picture.pixels.data() + at, stride);
      const int vote = Vote(window);
      if (vote == 0) continue;
      all_.Add(vote);
      if (has_before && window.IsLike({before_.pixels.data() + at, stride})) still_.Add(vote);
    }
  }
  std::swap(picture, before_);
  ++pictures_;
}

const LineArrangement::Edges& LineArrangement::Counted() const {
  return std::max(still_.as_is, still_.swapped) >= kFewEdges ? still_ : all_;
}

double LineArrangement::Margin() const {
  const auto [less, more] = std::minmax(Counted().as_is, Counted().swapped);
  return static_cast<double>(more) / static_cast<double>(std::max<int64_t>(less, 1));
}

bool LineArrangement::IsClear() const {
  return std::max(Counted().as_is, Counted().swapped) >= kFewEdges && Margin() >= kClearMargin;
}

bool LineArrangement::IsCertain() const {
  return std::max(still_.as_is, still_.swapped) >= kManyEdges && Margin() >= kCertainMargin;
}

}  // namespace tkmjpg::tool
