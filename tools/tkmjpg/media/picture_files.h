// The files of a picture input: one, or a numbered sequence without gaps.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/tkmjpg/media/sequence_name.h"

namespace tkmjpg::tool {

class PictureFiles {
 public:
  // A sequence begins with the number `start`, else with the first of 0 and 1 that exists. Throws
  // InputError that names the missing file if higher numbers exist than the sequence reaches, and
  // UsageError for a start of what has no number.
  PictureFiles(const std::string& pattern, std::optional<int64_t> start);

  int64_t Count() const { return count_; }
  std::string Name(int64_t file) const { return names_.Name(first_ + file); }

 private:
  SequenceName names_;
  int64_t first_ = 0;
  int64_t count_ = 1;
};

// What those without a number say to a start.
inline constexpr char kStartNeedsNumbers[] = "--start is for numbered pictures, as frame_%04d.png";

}  // namespace tkmjpg::tool
