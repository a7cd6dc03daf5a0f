#include "platform/host_services.h"

namespace tkmjpg {

std::string ProfilePath() {
  char folder[MAX_PATH];
  const UINT length = GetWindowsDirectoryA(folder, sizeof folder);
  if (length == 0 || length >= sizeof folder) return {};
  return std::string(folder, length) + "\\win.ini";
}

}  // namespace tkmjpg
