#include "tools/tkmjpg/streams/image_marks.h"

#include <string_view>

#include "frame/marker_segments.h"

namespace tkmjpg::tool {
namespace {

constexpr std::string_view kLimited = "CS=ITU601", kFull = "tkmjpg: full range";

struct LinesMark {
  std::string_view text;
  FieldLines lines;
  bool earlier;
};

constexpr LinesMark kLinesMarks[] = {
    {"tkmjpg: even lines, earlier", FieldLines::kEven, true},
    {"tkmjpg: odd lines, later", FieldLines::kOdd, false},
    {"tkmjpg: even lines, later", FieldLines::kEven, false},
    {"tkmjpg: odd lines, earlier", FieldLines::kOdd, true},
};

void Put(std::vector<uint8_t>& out, std::string_view text) {
  const MarkerSegment segment(kCom, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  out.insert(out.end(), segment.Bytes().begin(), segment.Bytes().end());
}

}  // namespace

void TakeMark(std::span<const uint8_t> payload, ImageMarks& marks) {
  std::string_view text(reinterpret_cast<const char*>(payload.data()), payload.size());
  if (text.ends_with('\0')) text.remove_suffix(1);
  if (text == kLimited) marks.limited = true;
  if (text == kFull) marks.full = true;
  for (const LinesMark& mark : kLinesMarks) {
    if (text != mark.text) continue;
    marks.lines = mark.lines;
    marks.earlier = mark.earlier;
  }
}

std::vector<uint8_t> MarkSegments(const ImageMarks& marks) {
  std::vector<uint8_t> segments;
  if (marks.limited) Put(segments, kLimited);
  if (marks.full) Put(segments, kFull);
  for (const LinesMark& mark : kLinesMarks) {
    if (marks.lines == mark.lines && marks.earlier == mark.earlier) Put(segments, mark.text);
  }
  return segments;
}

}  // namespace tkmjpg::tool
