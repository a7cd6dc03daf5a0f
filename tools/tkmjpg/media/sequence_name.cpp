#include "tools/tkmjpg/media/sequence_name.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <optional>
#include <system_error>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

namespace fs = std::filesystem;

std::optional<int64_t> NumberAfter(const std::string& start, const std::string& name) {
  if (!name.starts_with(start)) return std::nullopt;
  const size_t at = std::min(name.find_first_not_of(' ', start.size()), name.size());
  int64_t number = -1;
  std::from_chars(name.data() + at, name.data() + name.size(), number);
  if (number < 0) return std::nullopt;
  return number;
}

}  // namespace

SequenceName::SequenceName(const std::string& pattern) : before_(pattern) {
  constexpr size_t kMostDigits = 18;
  const size_t percent = pattern.find('%');
  if (percent == std::string::npos) return;
  size_t at = percent + 1;
  zeros_ = at < pattern.size() && pattern[at] == '0';
  while (at < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[at])) != 0) {
    digits_ = digits_ * 10 + static_cast<size_t>(pattern[at++] - '0');
    if (digits_ > kMostDigits) break;
  }
  if (digits_ > kMostDigits || at == pattern.size() || pattern[at] != 'd' ||
      pattern.find('%', at) != std::string::npos) {
    throw UsageError(pattern + ": a numbered name has one %d or %04d and no other %");
  }
  before_ = pattern.substr(0, percent);
  after_ = pattern.substr(at + 1);
  numbered_ = true;
}

std::string SequenceName::Digits(int64_t number) const {
  std::string digits = std::to_string(number);
  if (digits.size() < digits_) digits.insert(0, digits_ - digits.size(), zeros_ ? '0' : ' ');
  return digits;
}

std::string SequenceName::Name(int64_t number) const {
  return numbered_ ? before_ + Digits(number) + after_ : before_;
}

// The number may stand in the name of a file, or of a folder on the way to it.
std::vector<int64_t> SequenceName::Existing() const {
  std::vector<int64_t> numbers;
  if (!numbered_) return numbers;
  const fs::path before(before_);
  const fs::path folder = before.has_parent_path() ? before.parent_path() : fs::path(".");
  const std::string start = before.filename().string();
  const std::string tail = after_.substr(0, after_.find('/'));
  std::error_code error, ignored;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const auto number = NumberAfter(start, name);
    if (!number || name.substr(start.size()) != Digits(*number).append(tail)) continue;
    if (fs::exists(Name(*number), ignored)) numbers.push_back(*number);
  }
  if (error && error != std::errc::no_such_file_or_directory) {
    throw InputError(folder.string() + ": " + error.message());
  }
  std::ranges::sort(numbers);
  return numbers;
}

}  // namespace tkmjpg::tool
