#include "tools/tkmjpg/media/picture_files.h"

#include <algorithm>
#include <vector>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {

// Where nothing exists the first file is left to whoever opens it.
PictureFiles::PictureFiles(const std::string& pattern, std::optional<int64_t> start)
    : names_(pattern) {
  if (start && !names_.IsNumbered()) throw UsageError(kStartNeedsNumbers);
  const std::vector<int64_t> all = names_.Existing();
  first_ = start.value_or(all.empty() || all.front() != 1 ? 0 : 1);
  auto next = std::ranges::lower_bound(all, first_);
  if (next == all.end()) return;
  for (count_ = 0; next != all.end() && *next == first_ + count_; ++next) ++count_;
  if (next == all.end()) return;
  const std::string hint =
      count_ == 0 ? "; --start " + std::to_string(*next) + " begins there" : "";
  throw InputError(Name(count_) + ": is missing; the next picture is " + names_.Name(*next) + hint);
}

}  // namespace tkmjpg::tool
