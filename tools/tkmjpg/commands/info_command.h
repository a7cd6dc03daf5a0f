// tkmjpg info: what a compressed film holds.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddInfoCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
