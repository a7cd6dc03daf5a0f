// tkmjpg encode: raw video in, Motion-JPEG out.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddEncodeCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
