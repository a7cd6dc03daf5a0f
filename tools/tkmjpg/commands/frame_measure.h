// How far two pictures of the same size are apart.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "tools/tkmjpg/commands/yuv_planes.h"

namespace tkmjpg::tool {

// Of the planes Y, Cb and Cr.
struct FrameMeasure {
  std::array<double, 3> error{};  // mean squared error
  std::array<double, 3> ssim{};   // 1 where nothing differs
};

FrameMeasure Measure(const YuvPlanes& a, const YuvPlanes& b, int width, int height);

// In dB; infinite where nothing differs.
double Psnr(double mean_squared_error);

// Structural similarity as Wang, Bovik, Sheikh and Simoncelli define it (2004), with K1 = 0.01,
// K2 = 0.03 and L = 255: the mean over windows of 8 by 8 samples, each weighted the same, at every
// fourth sample of every fourth line and at the right and bottom edges. Variances and covariance
// are the unbiased ones. A plane that is smaller than a window is one window that far.
double Ssim(const Bytes& a, const Bytes& b, int width, int height);

// "Y, line 3, sample 20: 77 and 78", the first one in the order of planes; empty if there is none.
std::string FirstDifference(const YuvPlanes& a, const YuvPlanes& b, int width);

}  // namespace tkmjpg::tool
