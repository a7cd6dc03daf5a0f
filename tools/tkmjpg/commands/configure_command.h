// tkmjpg configure: the driver's dialog in a terminal, and for scripts.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddConfigureCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
