// The published names of the host's types, where the system has none. The public headers do without
// them: a program may have them from elsewhere, with other types.
#pragma once

#include <cstdint>

#include "tkmjpg_messages.h"

namespace tkmjpg {

using WORD = uint16_t;
using WCHAR = uint16_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using LONG = int32_t;
using DWORD_PTR = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;

}  // namespace tkmjpg
