// tkmjpg join: the parts of a film put together.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddJoinCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
