#include "tools/tkmjpg/media/sequence_name.h"

#include <cctype>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {

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

std::string SequenceName::Name(int64_t number) const {
  if (!numbered_) return before_;
  std::string digits = std::to_string(number);
  if (digits.size() < digits_) digits.insert(0, digits_ - digits.size(), zeros_ ? '0' : ' ');
  return before_ + digits + after_;
}

}  // namespace tkmjpg::tool
