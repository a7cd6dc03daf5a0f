// The host's answer to messages that no driver takes.
#pragma once

#include "platform/portable/host_types.h"

namespace tkmjpg {

using HDRVR = void*;
using HINSTANCE = void*;

inline LRESULT DefDriverProc(DWORD_PTR /*id*/, HDRVR, UINT /*message*/, LPARAM, LPARAM) {
  return 0;
}

}  // namespace tkmjpg
