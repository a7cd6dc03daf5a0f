// Frames to measure on beside other codecs, each in both layouts.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/open_input.h"

namespace tkmjpg {

struct PeerFrame {
  int width, height;
  tool::Picture yuv, bgr;  // YUY2 and BGR3
};

// Up to `most` frames of a film, picture or test card of the command.
void AddFile(const std::string& path, const tool::InputOptions& options, size_t most,
             std::vector<PeerFrame>& frames);

// 1920 x 1080 in three complexities, `each` frames of one: sharp lines and flat areas, camera-like
// texture with noise, and the same with little but its slopes left.
std::vector<PeerFrame> TestFrames(size_t each);

// To a JFIF stream that any reader takes, within `buffer`; returns its size.
size_t EncodePicture(const tool::Picture& picture, int width, int height, int quality,
                     tool::Bytes& buffer);
size_t StreamCapacity(int width, int height);
void DecodePicture(const tool::Bytes& stream, int width, int height, tool::Picture& picture);

}  // namespace tkmjpg
