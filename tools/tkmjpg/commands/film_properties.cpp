#include "tools/tkmjpg/commands/film_properties.h"

#include <cstdio>

namespace tkmjpg::tool {

std::string FilmProperties::LinesReason() const {
  char text[100];
  switch (lines_from) {
    case LinesFrom::kOption:
      return "--first-image";
    case LinesFrom::kMark:
      return "a comment in the stream";
    case LinesFrom::kPicture:
      std::snprintf(text, sizeof text, "the picture: %.0f edges to 1, in %d %s", margin, pictures,
                    pictures == 1 ? "frame" : "frames");
      return text;
    case LinesFrom::kCodes:
      return "the AVI1 field code; the picture does not tell";
    default:
      return "this format's convention; nothing tells";
  }
}

std::string FilmProperties::RangeReason() const {
  switch (range_from) {
    case RangeFrom::kOption:
      return "--range";
    case RangeFrom::kComment:
      return range == Range::kLimited ? "the comment CS=ITU601" : "a comment in the stream";
    case RangeFrom::kAvi1:
      return "the AVI1 header";
    case RangeFrom::kJfif:
      return "the JFIF header";
    default:
      return "JPEG without a header of this codec";
  }
}

void SettleRange(const ImageAnalysis& image, FilmProperties& properties) {
  using From = FilmProperties::RangeFrom;
  properties.range = image.IsLimitedRange() ? Range::kLimited : Range::kFull;
  if (image.marks.limited || image.marks.full) {
    properties.range_from = From::kComment;
  } else if (properties.range == Range::kLimited) {
    properties.range_from = From::kAvi1;
  } else {
    properties.range_from = image.header == HeaderKind::kJfif ? From::kJfif : From::kNoHeader;
  }
}

}  // namespace tkmjpg::tool
