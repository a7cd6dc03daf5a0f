// What decoding a film needs to know beside its size, and where it comes from.
#pragma once

#include <cstdint>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/streams/image_marks.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct FilmProperties {
  enum class LinesFrom { kOption, kMark, kPicture, kCodes, kConvention };
  enum class RangeFrom { kOption, kComment, kAvi1, kJfif, kNoHeader };

  bool fields = false;  // images are fields: a pair a frame, or one
  FieldLines first_image = FieldLines::kOdd;
  LinesFrom lines_from = LinesFrom::kConvention;
  double margin = 0;  // of kPicture: edges that say so for each one that says the contrary
  int pictures = 0;   // that it was found in
  Range range = Range::kLimited;
  RangeFrom range_from = RangeFrom::kAvi1;

  std::string LinesReason() const;  // "the picture: 85 edges to 1, in 8 frames"
  std::string RangeReason() const;  // "the comment CS=ITU601"
};

// What the headers of a film's first image say of its range.
void SettleRange(const ImageAnalysis& image, FilmProperties& properties);

}  // namespace tkmjpg::tool
