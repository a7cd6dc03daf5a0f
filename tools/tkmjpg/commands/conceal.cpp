#include "tools/tkmjpg/commands/conceal.h"

#include <algorithm>

#include "tkmjpg.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

// Which lines of the picture the lines of its images are.
struct LineMap {
  bool fields = false;      // two lines of the picture for one of an image
  bool one_field = false;   // both made from the same image
  bool even_first = false;  // the first image has the even lines

  // Calls visit(line) for the picture's lines that are `line` of an image.
  template <typename Visit>
  void ForEach(size_t image, size_t line, Visit visit) const {
    if (!fields) return visit(line);
    const bool even = (image == 0) == even_first;
    if (one_field || even) visit(2 * line);
    if (one_field || !even) visit(2 * line + 1);
  }
};

LineMap MapOf(const FrameAnalysis& frame, uint32_t flags, int height) {
  const bool whole = !frame.IsFieldPair() && IsWholeHeight(frame.images[0], height);
  const bool marked =
      (flags & TKMJPG_D_USE_AVI1_MARKERS) != 0 && frame.images[0].field_code.value_or(0) == 2;
  return {.fields = !whole && (frame.HasFieldCode() || frame.images[0].height < height),
          .one_field = (flags & TKMJPG_D_ONE_FIELD) != 0 || !frame.IsFieldPair(),
          .even_first = ((flags & TKMJPG_D_INVERT_FIELDS) != 0) != marked};
}

// One plane of a picture, or a packed picture.
struct Plane {
  size_t offset = 0, line_bytes = 0, height = 0;
  size_t lines = 1;  // of the picture for one of it
};

std::vector<Plane> PlanesOf(const Picture& picture) {
  if (picture.stride != 0) {
    const auto bytes = static_cast<size_t>(picture.stride);
    return {{0, bytes, picture.pixels.size() / bytes}};
  }
  const auto width = static_cast<size_t>(picture.planes.width);
  const auto height = static_cast<size_t>(picture.planes.height);
  const PlaneSize chroma = ChromaSize(picture.planes);
  std::vector<Plane> planes = {{0, width, height}};
  for (size_t c = 0; c < 2 && chroma.lines > 0; ++c) {
    const auto line = static_cast<size_t>(chroma.width), lines = static_cast<size_t>(chroma.height);
    planes.push_back(
        {width * height + c * line * lines, line, lines, static_cast<size_t>(chroma.lines)});
  }
  return planes;
}

void CopyLines(const Plane& plane, const LineMap& map, const ImageLines& lost,
               const Picture& before, Picture& picture) {
  for (size_t line = lost.first / plane.lines; line * plane.lines < lost.end; ++line) {
    map.ForEach(lost.image, line, [&](size_t y) {
      if (y >= plane.height) return;
      const auto at = static_cast<ptrdiff_t>(plane.offset + y * plane.line_bytes);
      std::copy_n(before.pixels.begin() + at, plane.line_bytes, picture.pixels.begin() + at);
    });
  }
}

}  // namespace

bool Conceal(std::span<const uint8_t> stream, const FrameDecoder& decoder, const Picture& before,
             Picture& picture) {
  if (before.pixels.size() != picture.pixels.size() || picture.pixels.empty()) return false;
  const FrameAnalysis frame = AnalyseFrame(stream);
  const std::vector<ImageLines> lost = FindLostLines(stream, frame);
  if (lost.empty()) return false;
  const std::vector<Plane> planes = PlanesOf(picture);
  const LineMap map = MapOf(frame, decoder.FlagsOf(frame), static_cast<int>(planes.front().height));
  for (const ImageLines& lines : lost) {
    if (!map.fields && lines.image > 0) continue;
    for (const Plane& plane : planes) CopyLines(plane, map, lines, before, picture);
  }
  return true;
}

}  // namespace tkmjpg::tool
