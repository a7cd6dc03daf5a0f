// Names of picture files that are numbered, as frame_%04d.png.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tkmjpg::tool {

class SequenceName {
 public:
  // Throws UsageError unless `pattern` has at most one %d, %Nd or %0Nd and no other %.
  explicit SequenceName(const std::string& pattern);

  bool IsNumbered() const { return numbered_; }
  std::string Name(int64_t number) const;

  // The numbers of the files that there are, in order. Empty if the name is not numbered.
  std::vector<int64_t> Existing() const;

 private:
  std::string Digits(int64_t number) const;

  std::string before_, after_;
  bool numbered_ = false;
  bool zeros_ = false;
  size_t digits_ = 0;
};

}  // namespace tkmjpg::tool
