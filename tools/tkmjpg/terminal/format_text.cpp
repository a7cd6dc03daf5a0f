#include "tools/tkmjpg/terminal/format_text.h"

#include <cstdarg>
#include <cstdio>

namespace tkmjpg::tool {

std::string Text(const char* format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

std::string BitRateText(double bits) {
  return bits >= 1e6 ? Text("%.2f Mbit/s", bits / 1e6) : Text("%.1f kbit/s", bits / 1e3);
}

}  // namespace tkmjpg::tool
