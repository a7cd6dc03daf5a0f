#include "registration.h"

#include <array>

#include "driver/instance.h"

namespace tkmjpg {
namespace {

REGSAM View(int bits) { return bits == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY; }

}  // namespace

bool IsSystem64() {
  if (kOwnBits == 64) return true;
  BOOL wow = FALSE;
  return IsWow64Process(GetCurrentProcess(), &wow) != 0 && wow;
}

std::string MachineText(int bits, const char* key, const char* name) {
  HKEY open = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key, 0, KEY_READ | View(bits), &open) != 0) return {};
  std::array<char, MAX_PATH + 1> text = {};
  DWORD size = MAX_PATH;
  const auto failed =
      RegQueryValueExA(open, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()), &size);
  RegCloseKey(open);
  return failed ? std::string() : text.data();
}

bool SetMachineText(int bits, const char* key, const char* name, const std::string& text) {
  HKEY open = nullptr;
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_WRITE | View(bits), nullptr,
                      &open, nullptr) != 0) {
    return false;
  }
  const auto failed = text.empty() ? RegDeleteValueA(open, name)
                                   : RegSetValueExA(open, name, 0, REG_SZ,
                                                    reinterpret_cast<const BYTE*>(text.c_str()),
                                                    static_cast<DWORD>(text.size() + 1));
  RegCloseKey(open);
  return failed == 0 || (text.empty() && failed == ERROR_FILE_NOT_FOUND);
}

void DeleteMachineKey(int bits, const char* key) {
  RegDeleteKeyExA(HKEY_LOCAL_MACHINE, key, View(bits), 0);
}

// A name without a folder lies in the system folder, which a program sees under another name if its
// own width differs.
std::string SystemFile(const std::string& name, int bits) {
  if (name.find('\\') != std::string::npos) return name;
  std::array<char, MAX_PATH> windows = {};
  GetWindowsDirectoryA(windows.data(), MAX_PATH);
  const char* folder = "System32";
  if (IsSystem64() && bits == 32) folder = "SysWOW64";
  if (IsSystem64() && bits == 64 && kOwnBits == 32) folder = "Sysnative";
  return std::string(windows.data()) + "\\" + folder + "\\" + name;
}

bool IsThisCodec(const std::string& name) {
  return lstrcmpiA(name.c_str() + (name.find_last_of("\\/") + 1), kDriverFile) == 0;
}

}  // namespace tkmjpg
