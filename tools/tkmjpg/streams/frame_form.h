// What a frame of the encoder gets so that general players show it right.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/tkmjpg/streams/image_marks.h"

namespace tkmjpg::tool {

struct FrameForm {
  std::array<ImageMarks, 2> marks;  // of its images
  size_t images = 1;
  // Of each image. The encoder writes heights that are multiples of 8, which players show.
  int width = 0, height = 0;

  size_t MarkBytes() const;  // of all images
};

// Copies `frame`, made by the encoder, to `out` with marks after the application headers, and with
// the size of `form` in the frame headers. Size fields and fill are right again.
void PutFrame(std::span<const uint8_t> frame, const FrameForm& form, std::vector<uint8_t>& out);

}  // namespace tkmjpg::tool
