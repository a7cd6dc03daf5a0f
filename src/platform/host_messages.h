// The published message numbers and structures: the system's own on Windows, ours elsewhere.
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
// vfw.h needs windows.h before it.
// clang-format off
#include <windows.h>
#include <vfw.h>
// clang-format on
#else
#include "platform/portable/host_types.h"
#endif
