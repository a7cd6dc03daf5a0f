// Text from a format, for lines of bounded length.
#pragma once

#include <string>

namespace tkmjpg::tool {

// As printf; what is longer than 511 bytes is cut.
[[gnu::format(printf, 1, 2)]] std::string Text(const char* format, ...);

// "1.64 Mbit/s"
std::string BitRateText(double bits_per_second);

}  // namespace tkmjpg::tool
