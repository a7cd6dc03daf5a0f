#include "tools/tkmjpg/media/video_text.h"

#include <charconv>
#include <optional>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

constexpr int64_t kMaxWidth = 65535, kMaxHeight = 65528;
constexpr int64_t kMaxPixels = int64_t{1} << 28;

// A whole number above 0 of at most nine digits.
std::optional<int64_t> Positive(const std::string& text) {
  constexpr size_t kMostDigits = 9;
  int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < 1 || text.size() > kMostDigits) return std::nullopt;
  return number;
}

std::optional<Rational> Decimal(const std::string& text) {
  const size_t dot = text.find('.');
  if (dot == std::string::npos) return std::nullopt;
  const auto digits = Positive(text.substr(0, dot) + text.substr(dot + 1));
  if (!digits) return std::nullopt;
  int64_t scale = 1;
  for (size_t i = dot + 1; i < text.size(); ++i) scale *= 10;
  return Rational{*digits, scale};
}

}  // namespace

void ParseSize(const std::string& what, const std::string& text, VideoFormat& format) {
  const size_t times = text.find('x');
  if (times != std::string::npos) {
    const auto width = Positive(text.substr(0, times)), height = Positive(text.substr(times + 1));
    if (width && height) {
      CheckPictureSize(what, *width, *height);
      format.width = static_cast<int>(*width);
      format.height = static_cast<int>(*height);
      return;
    }
  }
  throw UsageError(what + ": '" + text + "' is no size such as 720x576");
}

Rational ParseRate(const std::string& what, const std::string& text) {
  const size_t slash = text.find('/');
  const auto num = Positive(text.substr(0, slash));
  const auto den = slash == std::string::npos ? 1 : Positive(text.substr(slash + 1));
  if (num && den) return {*num, *den};
  if (const auto decimal = Decimal(text)) return *decimal;
  throw UsageError(what + ": '" + text + "' is no rate such as 25 or 30000/1001");
}

void CheckPictureSize(const std::string& name, int64_t width, int64_t height) {
  if (width <= kMaxWidth && height <= kMaxHeight && width * height <= kMaxPixels) return;
  throw InputError(name + ": a picture of " + std::to_string(width) + "x" + std::to_string(height) +
                   " is too large");
}

}  // namespace tkmjpg::tool
