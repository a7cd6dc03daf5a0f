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

}  // namespace tkmjpg::tool
