#include "tools/tkmjpg/report/report_pictures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "tools/tkmjpg/media/png_encode.h"
#include "tools/tkmjpg/report/html_text.h"

namespace tkmjpg::tool {
namespace {

constexpr int kZlibLevel = 6;

std::string Url(const Bytes& pixels, int width, int height, PngColour colour) {
  const int64_t stride = int64_t{width} * (colour == PngColour::kGrey ? 1 : 3);
  Bytes packed;
  EncodePng(
      {pixels.data(), stride, static_cast<uint32_t>(width), static_cast<uint32_t>(height), colour},
      kZlibLevel, packed);
  return "data:image/png;base64," + Base64(packed);
}

uint8_t Level(double value) {
  return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

struct Sample {
  double y, cb, cr;  // 0 to 1, chroma -0.5 to 0.5
};

Sample SampleOf(int y, int cb, int cr, bool full_range) {
  if (full_range) return {y / 255.0, (cb - 128) / 255.0, (cr - 128) / 255.0};
  return {(y - 16) / 219.0, (cb - 128) / 224.0, (cr - 128) / 224.0};
}

void StoreBgr(const Sample& s, uint8_t* out) {
  out[0] = Level(255 * (s.y + 1.772 * s.cb));
  out[1] = Level(255 * (s.y - 0.344136 * s.cb - 0.714136 * s.cr));
  out[2] = Level(255 * (s.y + 1.402 * s.cr));
}

uint8_t Distance(uint8_t a, uint8_t b) { return static_cast<uint8_t>(std::abs(a - b)); }

// Calls `visit` with the index of each pixel, and that of its chroma.
template <typename Visit>
void ForEachPixel(const PictureShape& shape, Visit visit) {
  const auto width = static_cast<size_t>(shape.width), pairs = (width + 1) / 2;
  for (size_t y = 0; y < static_cast<size_t>(shape.height); ++y) {
    for (size_t x = 0; x < width; ++x) visit(y * width + x, y * pairs + x / 2);
  }
}

// The columns of a picture share those of the monitor, one or more each.
struct Columns {
  static constexpr int kMost = 400;
  int picture = 0, monitor = 0;
  explicit Columns(int width) : picture(width), monitor(std::min(width, kMost)) {}
  size_t Of(size_t x) const {
    return x * static_cast<size_t>(monitor) / static_cast<size_t>(picture);
  }
};

// Rare levels have to be seen beside the most frequent ones, hence a root.
uint8_t Brightness(uint32_t count, uint32_t samples) {
  constexpr double kBright = 24;  // a level that every 24th sample has is white
  return count == 0 ? 0 : Level(40 + 215 * std::sqrt(kBright * count / samples));
}

}  // namespace

std::string RgbUrl(const YuvPlanes& planes, const PictureShape& shape) {
  Bytes pixels(planes.planes[0].size() * 3);
  ForEachPixel(shape, [&](size_t i, size_t pair) {
    const Sample sample = SampleOf(planes.planes[0][i], planes.planes[1][pair],
                                   planes.planes[2][pair], shape.full_range);
    StoreBgr(sample, pixels.data() + 3 * i);
  });
  return Url(pixels, shape.width, shape.height, PngColour::kBgr);
}

std::string DifferenceUrl(const YuvPlanes& a, const YuvPlanes& b, const PictureShape& shape) {
  Bytes pixels(a.planes[0].size());
  ForEachPixel(shape, [&](size_t i, size_t pair) {
    const uint8_t chroma = std::max(Distance(a.planes[1][pair], b.planes[1][pair]),
                                    Distance(a.planes[2][pair], b.planes[2][pair]));
    pixels[i] = std::max(Distance(a.planes[0][i], b.planes[0][i]), chroma);
  });
  return Url(pixels, shape.width, shape.height, PngColour::kGrey);
}

std::string WaveformUrl(const YuvPlanes& planes, const PictureShape& shape) {
  const Columns columns(shape.width);
  const auto across = static_cast<size_t>(columns.monitor);
  std::vector<uint32_t> counts(across * 256), samples(across);
  const auto width = static_cast<size_t>(shape.width);
  for (size_t i = 0; i < planes.planes[0].size(); ++i) {
    const size_t column = columns.Of(i % width);
    ++counts[(255U - planes.planes[0][i]) * across + column];
    ++samples[column];
  }
  Bytes pixels(counts.size());
  for (size_t i = 0; i < counts.size(); ++i) {
    pixels[i] = Brightness(counts[i], samples[i % across]);
  }
  return Url(pixels, columns.monitor, 256, PngColour::kGrey);
}

}  // namespace tkmjpg::tool
