#include "bench/luma_error.h"

#include <algorithm>
#include <cmath>

namespace tkmjpg {
namespace {

double YuvLuma(const PeerFrame& frame, int x, int y) {
  return frame.yuv.pixels[static_cast<size_t>(y * frame.yuv.stride + 2 * x)];
}

// ITU-R BT.601, 0..255.
double BgrLuma(const PeerFrame& frame, int x, int y) {
  const uint8_t* bgr = frame.bgr.pixels.data() + y * frame.bgr.stride + 3 * x;
  return 0.114 * bgr[0] + 0.587 * bgr[1] + 0.299 * bgr[2];
}

double ToFullRange(double luma) { return (luma - 16) * 255 / 219; }

}  // namespace

double LumaError(const PeerFrame& frame, LumaSource source, Planes& decoded) {
  double sum = 0;
  for (int y = 0; y < frame.height; ++y) {
    const uint8_t* row = decoded.LumaRow(y);
    for (int x = 0; x < frame.width; ++x) {
      const double luma = source == LumaSource::kBgrLimited ? ToFullRange(row[x]) : row[x];
      const double wanted =
          source == LumaSource::kYuv ? YuvLuma(frame, x, y) : BgrLuma(frame, x, y);
      sum += (luma - wanted) * (luma - wanted);
    }
  }
  return sum;
}

double LumaPsnr(double mean_squared_error) {
  constexpr double kMost = 99;  // for no error at all, so that it stays a number in a file
  if (mean_squared_error <= 0) return kMost;
  return std::min(10 * std::log10(255.0 * 255.0 / mean_squared_error), kMost);
}

}  // namespace tkmjpg
