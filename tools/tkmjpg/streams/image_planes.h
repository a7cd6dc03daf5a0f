// Images that this codec does not read, as planes of samples: grey, RGB, any sampling, progressive,
// arithmetic codes.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct SamplePlane {
  int width = 0, height = 0;
  size_t stride = 0;
  int h = 1, v = 1;  // sampling factors
  std::vector<uint8_t> samples;

  const uint8_t* Row(int y) const { return samples.data() + stride * static_cast<size_t>(y); }
};

struct ImagePlanes {
  int width = 0, height = 0;
  int most_h = 1, most_v = 1;  // largest sampling factors: those of the whole size
  bool rgb = false;
  std::vector<SamplePlane> planes;  // one or three
  std::string refusal;              // why there are none; empty if there are
  std::string damage;               // what was wrong all the same
};

// `image` is not refused; `frame` is what its offsets count from. Throws std::bad_alloc.
ImagePlanes DecodePlanes(std::span<const uint8_t> frame, const ImageAnalysis& image);

}  // namespace tkmjpg::tool
