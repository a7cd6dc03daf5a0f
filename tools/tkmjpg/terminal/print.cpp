#include "tools/tkmjpg/terminal/print.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

void Check(int result) {
  if (result < 0) throw InputError(std::string("standard output: ") + std::strerror(errno));
}

}  // namespace

void Print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = std::vprintf(format, arguments);
  va_end(arguments);
  Check(result);
}

void FlushPrinted() { Check(std::fflush(stdout)); }

}  // namespace tkmjpg::tool
