// Tells a user why a program does or does not see the codec: what is registered for Motion-JPEG in
// both widths, which file that is, whether it opens, and what the stored settings are.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cpu/cpu_rung.h"
#include "driver/instance.h"
#include "driver/stored_settings.h"
#include "platform/host_services.h"

namespace {

constexpr int kOwnBits = sizeof(void*) * 8;
constexpr char kDriversKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32";

void Line(const std::string& what, const std::string& text) {
  std::printf("%-22s %s\n", what.c_str(), text.c_str());
}

bool IsSystem64() {
  if (kOwnBits == 64) return true;
  BOOL wow = FALSE;
  return IsWow64Process(GetCurrentProcess(), &wow) != 0 && wow;
}

std::string Registered(int bits) {
  const REGSAM view = bits == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kDriversKey, 0, KEY_READ | view, &key) != 0) return {};
  std::array<char, MAX_PATH + 1> text = {};
  DWORD size = MAX_PATH;
  const auto failed = RegQueryValueExA(key, "vidc.mjpg", nullptr, nullptr,
                                       reinterpret_cast<BYTE*>(text.data()), &size);
  RegCloseKey(key);
  return failed ? std::string() : text.data();
}

// Where a program of that width finds the file. A name without a folder lies in its system folder,
// which this program sees under another name if its own width differs.
std::string SystemFile(const std::string& name, int bits) {
  if (name.find('\\') != std::string::npos) return name;
  std::array<char, MAX_PATH> windows = {};
  GetWindowsDirectoryA(windows.data(), MAX_PATH);
  const char* folder = "System32";
  if (IsSystem64() && bits == 32) folder = "SysWOW64";
  if (IsSystem64() && bits == 64 && kOwnBits == 32) folder = "Sysnative";
  return std::string(windows.data()) + "\\" + folder + "\\" + name;
}

std::string FileVersion(const std::string& path) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeA(path.c_str(), &ignored);
  std::vector<char> block(size);
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  if (size == 0 || !GetFileVersionInfoA(path.c_str(), 0, size, block.data()) ||
      !VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&info), &length)) {
    return "no version";
  }
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "version %u.%u.%u", HIWORD(info->dwFileVersionMS),
                LOWORD(info->dwFileVersionMS), HIWORD(info->dwFileVersionLS));
  return text.data();
}

void TellRegistered(int bits) {
  const std::string what = std::to_string(bits) + "-bit programs";
  const std::string name = Registered(bits);
  if (name.empty()) {
    Line(what, "have no codec for MJPG: install tkmjpg.inf");
    return;
  }
  const bool ours = name.find(tkmjpg::kDriverFile) != std::string::npos;
  const std::string path = SystemFile(name, bits);
  Line(what, "use " + name + (ours ? "" : ", which is another codec than this one"));
  if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
    Line("", path + " is missing: install tkmjpg.inf again");
  } else {
    Line("", path + ", " + FileVersion(path));
  }
}

// What every host of this program's width gets.
void TellOpened() {
  const std::string what = "opened as " + std::to_string(kOwnBits) + "-bit";
  const HIC codec = ICOpen(ICTYPE_VIDEO, mmioFOURCC('M', 'J', 'P', 'G'), ICMODE_QUERY);
  if (codec == nullptr) {
    Line(what, "the system does not open a codec for MJPG");
    return;
  }
  ICINFO info = {};
  ICGetInfo(codec, &info, sizeof info);
  ICClose(codec);
  std::array<char, 128> text = {};
  WideCharToMultiByte(CP_ACP, 0, info.szDescription, -1, text.data(), text.size() - 1, nullptr,
                      nullptr);
  Line(what, text.data());
}

void TellProcessor() {
  const char* asked = std::getenv("TKMJPG_CPU");
  Line("instructions", std::string(tkmjpg::CpuRungName(tkmjpg::ActiveCpuRung())) +
                           (asked != nullptr ? std::string("; TKMJPG_CPU is ") + asked : ""));
}

void TellSettings() {
  const tkmjpg::StoredSettings stored = tkmjpg::ReadStoredSettings();
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "options 0x%08X, default quality %u", stored.options,
                stored.quality);
  Line("settings", text.data());
  Line("", "in win.ini");
}

}  // namespace

int main() {
  if (IsSystem64()) TellRegistered(64);
  TellRegistered(32);
  TellOpened();
  TellProcessor();
  TellSettings();
  return 0;
}
