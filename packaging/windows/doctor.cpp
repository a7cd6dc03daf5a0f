// Tells a user why a program does or does not see the codec: what is registered for Motion-JPEG in
// both widths, which file that is, whether it opens, and what the stored settings are. The last
// line sums up, and the exit code is 1 when something is wrong.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cpu/cpu_rung.h"
#include "driver/instance.h"
#include "driver/options.h"
#include "driver/stored_settings.h"
#include "platform/host_services.h"
#include "registration.h"

namespace {

using namespace tkmjpg;

constexpr char kMappingKey[] =
    "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\IniFileMapping\\win.ini";

std::vector<std::string> faults;

void Line(const std::string& what, const std::string& text) {
  std::printf("%-22s %s\n", what.c_str(), text.c_str());
}

void Fault(const std::string& what, const std::string& text, const std::string& summary) {
  Line(what, text);
  faults.push_back(summary);
}

std::string Programs(int bits) { return std::to_string(bits) + "-bit programs"; }

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

// Whose library a file is, by its PE header: 64, 32, or 0 for no library of these processors.
int BitsOfLibrary(const std::string& path) {
  std::array<char, 4096> head = {};
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return 0;
  const size_t size = std::fread(head.data(), 1, head.size(), file);
  std::fclose(file);
  IMAGE_DOS_HEADER dos;
  IMAGE_NT_HEADERS32 pe;  // what is read of it is the same in both widths
  std::memcpy(&dos, head.data(), sizeof dos);
  const auto start = static_cast<DWORD>(dos.e_lfanew);
  if (dos.e_magic != IMAGE_DOS_SIGNATURE || size < sizeof pe || start > size - sizeof pe) return 0;
  std::memcpy(&pe, head.data() + start, sizeof pe);
  if (pe.Signature != IMAGE_NT_SIGNATURE) return 0;
  if ((pe.FileHeader.Characteristics & IMAGE_FILE_DLL) == 0) return 0;
  if (pe.FileHeader.Machine == IMAGE_FILE_MACHINE_AMD64) return 64;
  return pe.FileHeader.Machine == IMAGE_FILE_MACHINE_I386 ? 32 : 0;
}

// The registered file where it can be of use to programs of that width; else empty.
std::string TellRegistered(int bits) {
  const std::string name = MachineText(bits, kDriversKey, kDriverValue);
  const std::string programs = Programs(bits);
  if (name.empty()) {
    Fault(programs, "have no codec for MJPG: install tkmjpg.inf", programs + " have no codec");
    return {};
  }
  if (IsThisCodec(name)) {
    Line(programs, "use " + name);
  } else {
    Fault(programs, "use " + name + ", which is another codec than this one",
          programs + " use another codec");
  }
  const std::string path = SystemFile(name, bits);
  if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
    Fault("", path + " is missing: install tkmjpg.inf again",
          "the file for " + programs + " is missing");
    return {};
  }
  const int width = BitsOfLibrary(path);
  if (width == bits) {
    Line("", path + ", " + FileVersion(path));
    return path;
  }
  const std::string wrong =
      width == 0 ? "is no library of Windows" : "is a " + std::to_string(width) + "-bit library";
  Fault("", path + " " + wrong + ": install tkmjpg.inf again",
        "the file for " + programs + " " + wrong);
  return {};
}

// What every host of this program's width gets. A library of the same name beside this program
// would be found before the registered one, were that not loaded by its full name first.
void TellOpened(const std::string& path) {
  const std::string what = "opened as " + std::to_string(kOwnBits) + "-bit";
  const HMODULE library = path.empty() ? nullptr : LoadLibraryA(path.c_str());
  const HIC codec = library == nullptr
                        ? nullptr
                        : ICOpen(ICTYPE_VIDEO, mmioFOURCC('M', 'J', 'P', 'G'), ICMODE_QUERY);
  if (codec == nullptr) {
    Fault("not " + what, "the system does not open a codec for MJPG",
          "the codec does not open in " + Programs(kOwnBits));
    return;
  }
  ICINFO info = {};
  ICGetInfo(codec, &info, sizeof info);
  ICClose(codec);
  FreeLibrary(library);
  std::array<char, 128> text = {};
  WideCharToMultiByte(CP_ACP, 0, info.szDescription, -1, text.data(), text.size() - 1, nullptr,
                      nullptr);
  Line(what, text.data());
}

void TellProcessor() {
  const char* asked = std::getenv("TKMJPG_CPU");
  Line("instructions", std::string(CpuRungName(ActiveCpuRung())) +
                           (asked != nullptr ? std::string("; TKMJPG_CPU is ") + asked : ""));
}

// Reads back a key of its own, which does not stay.
bool CanStoreSettings() {
  constexpr char kProbe[] = "Doctor";
  const bool stored = WriteProfileStringA(kProfileSection, kProbe, "1") != 0 &&
                      GetProfileIntA(kProfileSection, kProbe, 0) == 1;
  WriteProfileStringA(kProfileSection, kProbe, nullptr);
  return stored;
}

void TellSettings() {
  WriteProfileStringA(nullptr, nullptr, nullptr);  // the system reads its mapping again
  const StoredSettings stored = ReadStoredSettings();
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "options 0x%08X, default quality %u", stored.options,
                stored.quality);
  Line("settings", text.data());
  const std::string mapping = MachineText(kOwnBits, kMappingKey, kProfileSection);
  const std::string place = mapping.rfind("USR:", 0) == 0
                                ? "HKEY_CURRENT_USER\\" + mapping.substr(4)
                                : "section [" + std::string(kProfileSection) + "] of win.ini";
  if (CanStoreSettings()) {
    Line("", "in " + place + ", which can be written");
  } else {
    Fault("", "in " + place + ", which cannot be written: the dialog's changes are lost",
          "settings cannot be stored");
  }
}

int SumUp() {
  std::string text;
  for (const std::string& fault : faults) text += (text.empty() ? "" : "; ") + fault;
  Line("summary", faults.empty() ? "the codec is installed and works" : text);
  return faults.empty() ? 0 : 1;
}

// A console that this program has for itself closes with it.
void PauseWhenDoubleClicked() {
  DWORD process = 0;
  if (GetConsoleProcessList(&process, 1) != 1) return;
  std::printf("\nPress Enter to close this window.\n");
  std::getchar();
}

}  // namespace

int main() {
  const std::string path64 = IsSystem64() ? TellRegistered(64) : std::string();
  const std::string path32 = TellRegistered(32);
  TellOpened(kOwnBits == 64 ? path64 : path32);
  TellProcessor();
  TellSettings();
  const int code = SumUp();
  PauseWhenDoubleClicked();
  return code;
}
