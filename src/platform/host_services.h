// What the driver asks of its host. Profile, dialogs and the default driver procedure have their
// published names: on Windows they are the system's, elsewhere functions of this namespace that do
// the same on a smaller scale.
#pragma once

#include <cstddef>

#include "platform/host_messages.h"
#ifndef _WIN32
#include "platform/portable/default_procedure.h"
#include "platform/portable/dialog_services.h"
#include "platform/portable/profile.h"
#endif

namespace tkmjpg {

// Null when there is no memory.
void* AllocateZeroed(size_t size);
void FreeMemory(void* memory);

}  // namespace tkmjpg
