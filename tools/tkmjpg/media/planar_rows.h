// Planar YUV, and how it becomes packed 4:2:2, YUY2.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tkmjpg::tool {

enum class Chroma { kMono, k411, k420, k422, k444 };

// Where 4:2:0 has its chroma lines: half way between two luma lines, or, as PAL-DV has it, on the
// luma lines, Cr on the first and Cb on the second of each two. Interlaced pictures have this in
// each field.
enum class ChromaLines { kBetween, kAlternate };

struct PlanarFormat {
  int width = 0;
  int height = 0;
  Chroma chroma = Chroma::k420;
  ChromaLines chroma_lines = ChromaLines::kBetween;
  bool interlaced = false;
  bool full_range = false;  // luma and chroma 0 to 255; packed pictures get 16 to 235 and 240
};

struct PlaneSize {
  int columns, lines;  // of the picture for each sample; 0 without chroma
  int width, height;
};
PlaneSize ChromaSize(const PlanarFormat& format);

// Bytes of the three planes, one after the other.
size_t PlanarSize(const PlanarFormat& format);

// Lines of `packed` are `width` * 2 bytes, without padding. Chroma is interpolated vertically to
// where the luma lines are; its horizontal position stays as it is.
void PackPlanar(const PlanarFormat& format, const uint8_t* planes, uint8_t* packed);

}  // namespace tkmjpg::tool
