// tkmjpg compare: how far two films differ.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddCompareCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
