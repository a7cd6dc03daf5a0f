// Names of picture files that are numbered, as frame_%04d.png.
#pragma once

#include <cstdint>
#include <string>

namespace tkmjpg::tool {

class SequenceName {
 public:
  // Throws UsageError unless `pattern` has at most one %d, %Nd or %0Nd and no other %.
  explicit SequenceName(const std::string& pattern);

  bool IsNumbered() const { return numbered_; }
  std::string Name(int64_t number) const;

 private:
  std::string before_, after_;
  bool numbered_ = false;
  bool zeros_ = false;
  size_t digits_ = 0;
};

}  // namespace tkmjpg::tool
