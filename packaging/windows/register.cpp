// What an INF cannot do: keep the codec that was registered before and give it back, remove nothing
// of another codec, and remove files that a program still uses. The INF runs this.
// usage: tkmjpg-register /install | /uninstall
#include <array>
#include <cstring>
#include <string>

#include "driver/instance.h"
#include "registration.h"

namespace {

using namespace tkmjpg;

constexpr char kOwnKey[] = "SOFTWARE\\tkmjpg";
constexpr char kPrevious[] = "Previous";

bool Register(int bits) {
  const std::string current = MachineText(bits, kDriversKey, kDriverValue);
  if (!IsThisCodec(current) && !SetMachineText(bits, kOwnKey, kPrevious, current)) return false;
  return SetMachineText(bits, kDriversKey, kDriverValue, kDriverFile);
}

bool Unregister(int bits) {
  bool done = true;
  if (IsThisCodec(MachineText(bits, kDriversKey, kDriverValue))) {
    const std::string previous = MachineText(bits, kOwnKey, kPrevious);
    done = SetMachineText(bits, kDriversKey, kDriverValue, previous);
  }
  if (done) DeleteMachineKey(bits, kOwnKey);
  return done;
}

// A file in use can be moved, but not deleted before the next start of the system. Moved away, it
// leaves its name to a codec that is installed again before that.
bool Remove(const std::string& path) {
  if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES) return true;
  if (DeleteFileA(path.c_str())) return true;
  std::array<char, MAX_PATH> windows = {}, unused = {};
  if (GetWindowsDirectoryA(windows.data(), MAX_PATH) == 0) return false;
  const std::string folder = std::string(windows.data()) + "\\Temp";
  return GetTempFileNameA(folder.c_str(), "tkm", 0, unused.data()) != 0 &&
         MoveFileExA(path.c_str(), unused.data(), MOVEFILE_REPLACE_EXISTING) &&
         MoveFileExA(unused.data(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

bool Uninstall(int bits) {
  const bool unregistered = Unregister(bits);
  return Remove(SystemFile(kDriverFile, bits)) && unregistered;
}

bool RemoveItself() {
  std::array<char, MAX_PATH> path = {};
  return GetModuleFileNameA(nullptr, path.data(), MAX_PATH) != 0 && Remove(path.data());
}

}  // namespace

int main(int count, char** arguments) {
  const bool installs = count == 2 && std::strcmp(arguments[1], "/install") == 0;
  if (!installs && (count != 2 || std::strcmp(arguments[1], "/uninstall") != 0)) return 2;
  const auto act = installs ? Register : Uninstall;
  bool done = act(32);
  if (IsSystem64()) done &= act(64);
  if (!installs) done &= RemoveItself();
  return done ? 0 : 1;
}
