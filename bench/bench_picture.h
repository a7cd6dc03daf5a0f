// Pictures to measure on, the same on every machine.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "cpu/cpu_rung.h"

namespace tkmjpg {

struct BenchPicture {
  int width, height;
  int bytes_per_pixel;
  std::vector<uint8_t> bytes;  // lines from the top, without gaps

  int Stride() const { return width * bytes_per_pixel; }
  const uint8_t* Row(int y) const { return bytes.data() + int64_t{y} * Stride(); }
};

// Slopes, texture, edges that move with `frame`, and a little noise: about as many symbols a pixel
// as camera pictures have. `fourcc` is TKMJPG_YUY2, TKMJPG_UYVY, or an RGB layout of 2 to 4 bytes.
BenchPicture MakeBenchPicture(int width, int height, int frame, uint32_t fourcc);

// Calls `add` for every rung that this machine can run.
void ForEachRung(const std::function<void(CpuRung)>& add);

}  // namespace tkmjpg
