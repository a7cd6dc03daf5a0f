#include "bench/bench_picture.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tkmjpg.h"

namespace tkmjpg {
namespace {

// What the scene holds at a point: luma and both colour differences, within [0, 1] and [-0.5, 0.5].
struct Light {
  double luma, blue, red;
};

uint32_t Noise(uint32_t x, uint32_t y, uint32_t frame) {
  uint32_t hash = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ frame * 0xC2B2AE3DU;
  hash = (hash ^ hash >> 15) * 0x2C1B3C6DU;
  return hash ^ hash >> 13;
}

Light LightAt(int x, int y, int frame) {
  const double u = x / 720.0, v = y / 576.0, t = frame * 0.13;
  double luma = 0.35 + 0.25 * std::sin(2.1 * u + t) * std::cos(1.7 * v);
  // Texture over the lower half, the finer the lower.
  if (y % 400 > 200) luma += 0.06 * std::sin(x * 0.9 + y * 0.2) * std::sin(y * (0.3 + 0.001 * y));
  // Blocks with sharp edges that move.
  const bool inside = (x + 7 * frame) % 210 < 60 && (y + 3 * frame) % 170 < 80;
  if (inside) luma += 0.3;
  luma += (Noise(static_cast<uint32_t>(x), static_cast<uint32_t>(y), static_cast<uint32_t>(frame)) %
           1000) /
          15000.0;
  return {std::clamp(luma, 0.0, 1.0), 0.2 * std::sin(3 * u + 2 * v - t),
          inside ? 0.22 : 0.15 * std::cos(2 * u - 3 * v)};
}

uint8_t Byte(double value) { return static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0)); }

std::array<uint8_t, 3> BlueGreenRed(const Light& light) {
  const double red = light.luma + 1.402 * light.red, blue = light.luma + 1.772 * light.blue;
  const double green = (light.luma - 0.299 * red - 0.114 * blue) / 0.587;
  return {Byte(255 * blue), Byte(255 * green), Byte(255 * red)};
}

void PutRgb(uint8_t* pixel, int bytes_per_pixel, const Light& light) {
  const auto [blue, green, red] = BlueGreenRed(light);
  if (bytes_per_pixel == 2) {
    const uint32_t word = (red >> 3) << 10 | (green >> 3) << 5 | blue >> 3;
    pixel[0] = static_cast<uint8_t>(word);
    pixel[1] = static_cast<uint8_t>(word >> 8);
    return;
  }
  pixel[0] = blue;
  pixel[1] = green;
  pixel[2] = red;
  if (bytes_per_pixel == 4) pixel[3] = 255;
}

void PutPair(uint8_t* pair, bool luma_first, const Light& left, const Light& right) {
  uint8_t* const luma = pair + (luma_first ? 0 : 1);
  uint8_t* const chroma = pair + (luma_first ? 1 : 0);
  luma[0] = Byte(16 + 219 * left.luma);
  luma[2] = Byte(16 + 219 * right.luma);
  chroma[0] = Byte(128 + 224 * left.blue);
  chroma[2] = Byte(128 + 224 * left.red);
}

int BytesPerPixel(uint32_t fourcc) {
  switch (fourcc) {
    case TKMJPG_BGR3:
      return 3;
    case TKMJPG_BGR4:
    case TKMJPG_BGRA:
      return 4;
    default:
      return 2;
  }
}

}  // namespace

BenchPicture MakeBenchPicture(int width, int height, int frame, uint32_t fourcc) {
  BenchPicture picture{width, height, BytesPerPixel(fourcc), {}};
  picture.bytes.resize(static_cast<size_t>(picture.Stride()) * height);
  const bool packed_yuv = fourcc == TKMJPG_YUY2 || fourcc == TKMJPG_UYVY;
  uint8_t* pixel = picture.bytes.data();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; pixel += picture.bytes_per_pixel, ++x) {
      if (!packed_yuv) {
        PutRgb(pixel, picture.bytes_per_pixel, LightAt(x, y, frame));
      } else if (x % 2 == 0) {
        PutPair(pixel, fourcc == TKMJPG_YUY2, LightAt(x, y, frame), LightAt(x + 1, y, frame));
      }
    }
  }
  return picture;
}

void ForEachRung(const std::function<void(CpuRung)>& add) {
  for (const CpuRung rung : RunnableCpuRungs()) add(rung);
}

}  // namespace tkmjpg
