// The two levels of message dispatch behind the exported DriverProc.
#pragma once

#include "driver/instance.h"
#include "platform/host_services.h"

namespace tkmjpg {

// The module that holds the dialog template; null until the process has attached it.
HINSTANCE ModuleHandle();

// Keeps the handle of the first attach (reason 1). Answers 1 to every reason.
int AttachProcess(HINSTANCE module, uint32_t reason, void* reserved);

// The second level: a message and an instance to a call of its handler.
intptr_t TKMJPG_DRIVER_CALL CodecDriverProc(uintptr_t dwDriverId, void* hDriver, uint32_t uMsg,
                                            intptr_t lParam1, intptr_t lParam2);

}  // namespace tkmjpg
