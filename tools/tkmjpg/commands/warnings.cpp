#include "tools/tkmjpg/commands/warnings.h"

#include <cmath>
#include <cstdio>

#include "tools/tkmjpg/terminal/format_text.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

std::string BitRate(double bytes, Rational rate) {
  return BitRateText(bytes * 8 * static_cast<double>(rate.num) / static_cast<double>(rate.den));
}

}  // namespace

void WarnOf(const std::string& file, const std::string& what) {
  const std::string text = file + ": warning: " + what;
  std::fprintf(stderr, "tkmjpg: %s\n", Printable(text).c_str());
}

std::string AssumedRate(Rational rate) {
  char text[96];
  std::snprintf(text, sizeof text,
                "nothing tells its rate: %.6g frames a second are assumed; see --rate",
                static_cast<double>(rate.num) / static_cast<double>(rate.den));
  return text;
}

std::string SizeWarning(double mean, double wanted, Rational rate) {
  constexpr double kMostOff = 0.2;
  if (std::abs(mean - wanted) <= kMostOff * wanted) return {};
  const bool above = mean > wanted;
  return "frames have " + std::to_string(std::lround(mean)) + " bytes in the mean (" +
         BitRate(mean, rate) + "), not " + std::to_string(std::lround(wanted)) + " (" +
         BitRate(wanted, rate) + "): they cannot be made " + (above ? "smaller" : "larger");
}

}  // namespace tkmjpg::tool
