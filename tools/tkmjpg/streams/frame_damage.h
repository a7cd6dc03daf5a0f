// What is damaged in a frame: its markers and segments, and the entropy-coded data between them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct Damage {
  std::string what;                  // "invalid code at byte 4711"
  std::optional<size_t> image = {};  // of a frame that has several
  std::optional<size_t> row = {};    // of MCUs, in which it shows
  // Nothing is wrong with the codes, but no encoder writes such samples.
  bool suspect = false;
};
using FrameDamage = std::vector<Damage>;  // in the order of images, one of each at most

// `analysis` is that of `frame`. Of the images that make the picture. The codes are read unless
// decoding has found as many `sound_images`.
FrameDamage FindDamage(std::span<const uint8_t> frame, const FrameAnalysis& analysis,
                       size_t sound_images = 0);

// "frame 7, image 2, MCU row 13: invalid code at byte 4711", if `place` is "frame 7".
std::string Describe(const Damage& damage, std::string place = {});

// Puts what is damaged among the frame's problems, unless it is there.
void AddDamage(const FrameDamage& damage, FrameAnalysis& analysis);

// Lines of an image, counted in it.
struct ImageLines {
  size_t image = 0, first = 0, end = 0;
};
// Those that cannot be shown, of a frame that is damaged.
std::vector<ImageLines> FindLostLines(std::span<const uint8_t> frame,
                                      const FrameAnalysis& analysis);

}  // namespace tkmjpg::tool
