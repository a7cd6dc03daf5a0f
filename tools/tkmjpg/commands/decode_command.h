// tkmjpg decode: Motion-JPEG in, raw video out.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddDecodeCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
