// What the markers of a frame say (ITU T.81 Annex B): its one or two images, and whether the codec
// reads them. Entropy-coded data are only stepped over, from marker to marker.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tkmjpg::gst {

struct JpegImage {
  int width = 0, height = 0;
  uint8_t field_code = 0;         // of the AVI1 segment; 0: a whole image
  bool avi1 = false;              // has such a segment
  bool itu601 = false;            // has a comment that says: luma is 16 to 235
  size_t size = 0;                // from SOI to the end of EOI
  size_t width_offset = 0;        // where SOF0 has its width, from SOI; 0: no SOF0
  size_t field_code_offset = 0;   // 0: no AVI1 segment
  const char* refusal = nullptr;  // why the codec does not read such images
  const char* damage = nullptr;   // what is wrong with this one
  bool too_short = false;         // no image of this size has so few bytes
};

struct JpegFrame {
  std::array<JpegImage, 2> images;
  std::array<size_t, 2> begin{};  // of each image
  int count = 0;                  // of images that have a scan; 0: nothing to decode
};

// The second image of `frame` is one that follows the first one directly, or after fill bytes.
JpegFrame ReadJpegFrame(std::span<const uint8_t> frame);

}  // namespace tkmjpg::gst
