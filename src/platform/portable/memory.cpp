#include <cstdlib>

#include "platform/host_services.h"

namespace tkmjpg {

void* AllocateZeroed(size_t size) { return std::calloc(1, size); }

void FreeMemory(void* memory) { std::free(memory); }

}  // namespace tkmjpg
