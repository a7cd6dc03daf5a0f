// From the times of frames, as containers tell them, to a constant rate.
//
// Containers round times to ticks, some of them coarse: frames of 30000/1001 a second lie 33 or 34
// ticks apart in one that counts milliseconds. A rate is right if all frames lie on its beat, give
// or take the rounding; beats without a frame repeat the one before.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct FrameBeats {
  Rational rate;
  std::vector<int64_t> beats;  // of each frame, from 0
  std::string problem;         // what is said of frames that lie on no beat; else empty
};

// `times` count ticks of `tick` seconds; `stated` is what the container says of the rate, 0 if
// nothing. Throws InputError, without a file's name, if no rate keeps the times.
FrameBeats FindFrameBeats(std::span<const int64_t> times, Rational tick, Rational stated);

}  // namespace tkmjpg::tool
