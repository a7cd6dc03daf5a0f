// The entry that the loader calls.
#include "driver/driver_entry.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  return tkmjpg::AttachProcess(module, reason, reserved);
}
