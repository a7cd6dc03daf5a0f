#include "tools/tkmjpg/commands/doctor_command.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "cpu/cpu_rung.h"
#include "driver/stored_settings.h"
#include "platform/host_services.h"
#include "tkmjpg.h"
#include "tkmjpg_version.h"
#include "tools/tkmjpg/commands/settings.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

namespace fs = std::filesystem;

constexpr char kSharedLibrary[] = "libtkmjpg.so." TKMJPG_SOVERSION;

void Line(const char* what, const std::string& text) {
  Print("%-16s %s\n", what, Printable(text).c_str());
}

std::string Narrow(const WCHAR* wide) {
  std::string text;
  for (; *wide != 0; ++wide) text += static_cast<char>(*wide);
  return text;
}

// Opens the driver as a host does, and asks it who it is.
std::string Identity(decltype(&DriverProc) driver) {
  ICOPEN open = {};
  open.dwSize = sizeof open;
  open.fccType = ICTYPE_VIDEO;
  const auto id =
      static_cast<uintptr_t>(driver(0, nullptr, DRV_OPEN, 0, reinterpret_cast<intptr_t>(&open)));
  if (id == 0) return "does not open";
  ICINFO info = {};
  driver(id, nullptr, ICM_GETINFO, reinterpret_cast<intptr_t>(&info), sizeof info);
  driver(id, nullptr, DRV_CLOSE, 0, 0);
  return Narrow(info.szName) + "(" + Narrow(info.szDescription) + ")";
}

std::string PathOf(const void* code) {
  Dl_info info = {};
  return dladdr(code, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "?";
}

void TellCommand() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  Line("command", error ? "?" : self.string());
  Line("  its codec", Identity(DriverProc));
}

// The one that other programs get when they ask for it by name.
void TellSharedLibrary() {
  void* library = dlopen(kSharedLibrary, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    Line("shared library", std::string("no ") + kSharedLibrary + " where the loader looks");
    return;
  }
  void* entry = dlsym(library, "DriverProc");
  Line("shared library", entry != nullptr ? PathOf(entry) : "has no DriverProc");
  if (entry != nullptr) {
    Line("  its codec", Identity(reinterpret_cast<decltype(&DriverProc)>(entry)));
  }
  dlclose(library);
}

void TellProcessor() {
  const std::string used(CpuRungName(ActiveCpuRung()));
  const std::string best(CpuRungName(HighestCpuRung()));
  const char* asked = std::getenv("TKMJPG_CPU");
  std::string text = used + (used == best ? "" : "; this processor and build can do " + best);
  if (asked != nullptr) text += std::string("; TKMJPG_CPU is \"") + asked + "\"";
  Line("instructions", text);
}

std::string ProfileFate(const std::string& path) {
  if (path.empty()) return "none: neither XDG_CONFIG_HOME nor HOME is set; defaults hold";
  if (!fs::exists(path)) return path + " (not there yet; defaults hold)";
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return path + " (cannot be read; defaults hold)";
  std::fclose(file);
  return path;
}

void TellSettings() {
  Line("profile", ProfileFate(ProfilePath()));
  const StoredSettings stored = ReadStoredSettings();
  char text[64];
  std::snprintf(text, sizeof text, "0x%08X, quality %u", static_cast<unsigned>(stored.options),
                static_cast<unsigned>(stored.quality));
  Line("  holds", text);
  if (stored.quality > 100) Line("", "the quality is above 100 and counts as 100");
  for (const Setting& box : ReadSettings().boxes) {
    if (box.on) Line("", box.label + ": " + box.effect);
  }
}

void Doctor() {
  TellCommand();
  TellSharedLibrary();
  TellProcessor();
  TellSettings();
}

}  // namespace

void AddDoctorCommand(const CommandLine& line) {
  const Command command =
      line.AddCommand("doctor", "Which library, which instructions, which stored settings");
  command.Run(Doctor);
}

}  // namespace tkmjpg::tool
