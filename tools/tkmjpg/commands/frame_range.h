// --frames of the subcommands that work on a part of a film.
#pragma once

#include <cstdint>
#include <string>

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

// Numbers in the film, from 0, both ends included.
struct FrameRange {
  int64_t first = 0;
  int64_t last = INT64_MAX;

  bool IsAll() const { return first == 0 && last == INT64_MAX; }
  // How many frames it has of a film of `frames`; -1 for -1, which is unknown.
  int64_t CountOf(int64_t frames) const;
};

// "A:B", "A:", ":B" or "A"; all frames if `text` is empty. Throws UsageError.
FrameRange ParseFrameRange(const std::string& text);

void AddFramesOption(const Command& command, std::string& frames);

// Throws InputError if a film of `frames` ends before the range begins. Without any frame it is for
// others to say so.
void CheckReached(const std::string& film, const FrameRange& range, int64_t frames);

}  // namespace tkmjpg::tool
