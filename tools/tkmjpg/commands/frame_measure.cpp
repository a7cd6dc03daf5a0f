#include "tools/tkmjpg/commands/frame_measure.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace tkmjpg::tool {
namespace {

constexpr int kWindow = 8;
constexpr int kStep = 4;

int PlaneWidth(size_t plane, int width) { return plane == 0 ? width : (width + 1) / 2; }

double MeanSquaredError(const Bytes& a, const Bytes& b) {
  uint64_t sum = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const int difference = a[i] - b[i];
    sum += static_cast<uint64_t>(difference * difference);
  }
  return static_cast<double>(sum) / static_cast<double>(std::max<size_t>(a.size(), 1));
}

// What a window needs to know of its samples: sums over at most 8 x 8 of them.
struct Sums {
  uint32_t a = 0, b = 0;  // [0, 64 x 255]
  uint32_t squares = 0;   // of both, [0, 2 x 64 x 255^2]
  uint32_t products = 0;  // [0, 64 x 255^2]
};

// Means, variances and covariance are fractions of n and n x (n - 1); all of it is multiplied by
// these, so that one division is left. The products are exact.
double SsimOfWindow(const Sums& sums, int samples) {
  constexpr double kC1 = (0.01 * 255) * (0.01 * 255), kC2 = (0.03 * 255) * (0.03 * 255);
  const double n = samples, free = std::max(samples - 1, 1);
  const double a = sums.a, b = sums.b, c1 = n * n * kC1, c2 = n * free * kC2;
  const double means = a * a + b * b;
  const double variances = n * sums.squares - means, covariance = n * sums.products - a * b;
  return (2 * a * b + c1) * (2 * covariance + c2) / ((means + c1) * (variances + c2));
}

// A loop each, so that compilers see what they can do many at once. Products fit 16 bits, which is
// quick everywhere.
void AddSamples(const uint8_t* samples, size_t count, uint32_t* sums) {
  for (size_t i = 0; i < count; ++i) sums[i] += samples[i];
}

void AddProducts(const uint8_t* a, const uint8_t* b, size_t count, uint32_t* sums) {
  for (size_t i = 0; i < count; ++i) sums[i] += static_cast<uint16_t>(a[i] * b[i]);
}

// Sums over the lines of a row of windows, one a column, so that they are made once for all windows
// that a column is in.
class ColumnSums {
 public:
  explicit ColumnSums(int width) : width_(static_cast<size_t>(width)), sums_(4 * width_) {}

  void Add(const uint8_t* a, const uint8_t* b) {
    AddSamples(a, width_, Of(0));
    AddSamples(b, width_, Of(1));
    AddProducts(a, a, width_, Of(2));
    AddProducts(b, b, width_, Of(2));
    AddProducts(a, b, width_, Of(3));
  }

  Sums Window(int x, int columns) {
    Sums sums;
    for (int i = x; i < x + columns; ++i) {
      sums.a += Of(0)[i];
      sums.b += Of(1)[i];
      sums.squares += Of(2)[i];
      sums.products += Of(3)[i];
    }
    return sums;
  }

  void Clear() { std::ranges::fill(sums_, 0U); }

 private:
  uint32_t* Of(size_t kind) { return sums_.data() + kind * width_; }

  size_t width_;
  std::vector<uint32_t> sums_;
};

// Where windows begin along a side.
std::vector<int> WindowStarts(int size, int window) {
  std::vector<int> starts;
  for (int at = 0; at + window <= size; at += kStep) starts.push_back(at);
  if (starts.back() != size - window) starts.push_back(size - window);
  return starts;
}

}  // namespace

double Psnr(double mean_squared_error) {
  return mean_squared_error == 0 ? HUGE_VAL : 10 * std::log10(255.0 * 255.0 / mean_squared_error);
}

double Ssim(const Bytes& a, const Bytes& b, int width, int height) {
  const int columns = std::min(kWindow, width), lines = std::min(kWindow, height);
  const std::vector<int> across = WindowStarts(width, columns), down = WindowStarts(height, lines);
  ColumnSums sums(width);
  double total = 0;
  for (const int y : down) {
    sums.Clear();
    for (ptrdiff_t line = y; line < y + lines; ++line) {
      sums.Add(a.data() + line * width, b.data() + line * width);
    }
    for (const int x : across) total += SsimOfWindow(sums.Window(x, columns), columns * lines);
  }
  return total / static_cast<double>(across.size() * down.size());
}

FrameMeasure Measure(const YuvPlanes& a, const YuvPlanes& b, int width, int height) {
  FrameMeasure measure;
  for (size_t p = 0; p < 3; ++p) {
    measure.error[p] = MeanSquaredError(a.planes[p], b.planes[p]);
    measure.ssim[p] =
        measure.error[p] == 0 ? 1 : Ssim(a.planes[p], b.planes[p], PlaneWidth(p, width), height);
  }
  return measure;
}

std::string FirstDifference(const YuvPlanes& a, const YuvPlanes& b, int width) {
  constexpr const char* kNames[] = {"Y", "Cb", "Cr"};
  for (size_t p = 0; p < 3; ++p) {
    const auto [at, other] = std::ranges::mismatch(a.planes[p], b.planes[p]);
    if (at == a.planes[p].end()) continue;
    const auto index = static_cast<size_t>(at - a.planes[p].begin());
    const auto line_width = static_cast<size_t>(PlaneWidth(p, width));
    char text[96];
    std::snprintf(text, sizeof text, "%s, line %zu, sample %zu: %d and %d", kNames[p],
                  index / line_width, index % line_width, *at, *other);
    return text;
  }
  return {};
}

}  // namespace tkmjpg::tool
