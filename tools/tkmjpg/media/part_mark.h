// What a part of a film says of itself in the comment of its file, so that parts are put together
// as they belong.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tkmjpg::tool {

struct PartMark {
  int64_t first = 0, last = -1;  // frames of the film
  int64_t film = -1;             // how many frames that has; -1: unknown
  int64_t frames = 0;            // in the part: a repair may drop some
  std::string coding;            // the options that its bytes depend on
};

std::string MarkText(const PartMark& mark);
// None if `comment` is another one.
std::optional<PartMark> ReadMark(const std::string& comment);

}  // namespace tkmjpg::tool
