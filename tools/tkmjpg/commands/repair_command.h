// tkmjpg repair: a film made fit for other readers, without recoding.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddRepairCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
