// The programs of the package, as a user meets them.
#include <string>

#include "host.h"

namespace {

PROCESS_INFORMATION Start(std::string command, DWORD flags) {
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process = {};
  Check(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr,
                       &start, &process) != 0,
        "starts", command.c_str());
  return process;
}

bool Ends(const PROCESS_INFORMATION& process, DWORD milliseconds) {
  return WaitForSingleObject(process.hProcess, milliseconds) == WAIT_OBJECT_0;
}

// Into the console of another process.
void PressEnter(DWORD process) {
  FreeConsole();
  Check(AttachConsole(process) != 0, "AttachConsole");
  INPUT_RECORD keys[2] = {};
  for (INPUT_RECORD& key : keys) {
    key.EventType = KEY_EVENT;
    key.Event.KeyEvent.bKeyDown = &key == keys;
    key.Event.KeyEvent.wRepeatCount = 1;
    key.Event.KeyEvent.wVirtualKeyCode = VK_RETURN;
    key.Event.KeyEvent.uChar.AsciiChar = '\r';
  }
  const HANDLE console =
      CreateFileA("CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD written = 0;
  Check(WriteConsoleInputA(console, keys, 2, &written) != 0 && written == 2, "WriteConsoleInput");
}

}  // namespace

void TestPause(const char* doctor) {
  const PROCESS_INFORMATION process = Start(doctor, CREATE_NEW_CONSOLE);
  Check(!Ends(process, 1500), "the doctor waits in a console of its own");
  PressEnter(process.dwProcessId);
  Check(Ends(process, 10000), "Enter ends it");
  TerminateProcess(process.hProcess, 1);
}

void TestRemoval(const char* command) {
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_QUERY);
  if (!Check(codec != nullptr, "ICOpen")) return;
  Check(Ends(Start(command, 0), 60000), "uninstalling ends");
  ExpectSettings(codec, {0x84100, 6000, 6000}, "of a codec in use");
  Check(ICClose(codec) == ICERR_OK, "ICClose");
}
