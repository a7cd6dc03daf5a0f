// The pictures of a report, each as the URL of a PNG that holds it.
#pragma once

#include <string>

#include "tools/tkmjpg/commands/yuv_planes.h"

namespace tkmjpg::tool {

struct PictureShape {
  int width = 0, height = 0;
  bool full_range = false;  // of luma and chroma
};

// As a screen shows it, by ITU-R BT.601; pixels of a pair have the same chroma.
std::string RgbUrl(const YuvPlanes& planes, const PictureShape& shape);

// Grey, as bright as the largest of the differences of Y, Cb and Cr at each pixel.
std::string DifferenceUrl(const YuvPlanes& a, const YuvPlanes& b, const PictureShape& shape);

// A waveform monitor: across as in the picture, the levels of luma upwards from 0 to 255, each as
// bright as it is frequent there.
std::string WaveformUrl(const YuvPlanes& planes, const PictureShape& shape);

}  // namespace tkmjpg::tool
