#include "tools/tkmjpg/commands/frame_range.h"

#include <algorithm>
#include <charconv>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {

int64_t FrameRange::CountOf(int64_t frames) const {
  if (frames < 0) return -1;
  return std::clamp<int64_t>(std::min(frames - 1, last) - first + 1, 0, frames);
}

FrameRange ParseFrameRange(const std::string& text) {
  if (text.empty()) return {};
  const size_t colon = text.find(':');
  const auto number = [&](const std::string& part, int64_t missing) {
    if (part.empty() && colon != std::string::npos && text != ":") return missing;
    int64_t value = -1;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
    if (error != std::errc() || end != part.data() + part.size() || value < 0) {
      throw UsageError("--frames: '" + text + "' is no range of frames such as 0:99 or 100:");
    }
    return value;
  };
  FrameRange range;
  range.first = number(text.substr(0, colon), 0);
  range.last = colon == std::string::npos ? range.first : number(text.substr(colon + 1), INT64_MAX);
  if (range.first > range.last) throw UsageError("--frames: '" + text + "' is empty");
  return range;
}

void AddFramesOption(const Command& command, std::string& frames) {
  command.Add("--frames", frames, "frames A:B, counted from 0, B included; also A, A: or :B")
      .ValueName("RANGE");
}

void CheckReached(const std::string& film, const FrameRange& range, int64_t frames) {
  if (frames > range.first || frames == 0) return;
  throw InputError(film + ": has no frame " + std::to_string(range.first) + ", only " +
                   std::to_string(frames));
}

}  // namespace tkmjpg::tool
