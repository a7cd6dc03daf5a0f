#include "platform/host_services.h"

namespace tkmjpg {

void* AllocateZeroed(size_t size) { return LocalAlloc(LPTR, size); }

void FreeMemory(void* memory) { LocalFree(memory); }

}  // namespace tkmjpg
