#include "tools/tkmjpg/media/part_mark.h"

#include <cinttypes>
#include <cstdio>

namespace tkmjpg::tool {
namespace {

#define TKMJPG_MARK(number) "tkmjpg part " number "-" number " of " number ", " number " frames, "

}  // namespace

std::string MarkText(const PartMark& mark) {
  char numbers[160];
  std::snprintf(numbers, sizeof numbers, TKMJPG_MARK("%" PRId64), mark.first, mark.last, mark.film,
                mark.frames);
  return numbers + mark.coding;
}

std::optional<PartMark> ReadMark(const std::string& comment) {
  PartMark mark;
  int end = 0;
  const int fields = std::sscanf(comment.c_str(), TKMJPG_MARK("%" SCNd64) "%n", &mark.first,
                                 &mark.last, &mark.film, &mark.frames, &end);
  if (fields != 4 || end == 0) return std::nullopt;
  mark.coding = comment.substr(static_cast<size_t>(end));
  return mark;
}

}  // namespace tkmjpg::tool
