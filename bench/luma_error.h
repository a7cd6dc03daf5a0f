// How far the luma of a decoded stream is from the frame that it was made of.
#pragma once

#include "bench/peer_frames.h"
#include "bench/turbojpeg_peer.h"

namespace tkmjpg {

// What a stream's luma was made of, and its range: of RGB it is 16..235 in this library's streams
// and 0..255 in TurboJPEG's.
enum class LumaSource { kYuv, kBgrLimited, kBgrFull };

// The sum of the squared errors of all pixels, in steps of 0..255.
double LumaError(const PeerFrame& frame, LumaSource source, Planes& decoded);

// In dB, for the mean of the squared errors.
double LumaPsnr(double mean_squared_error);

}  // namespace tkmjpg
