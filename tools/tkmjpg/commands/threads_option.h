// --threads of the subcommands that work on several frames at once.
#pragma once

#include <string>

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

// As many as there are processors, if the option is not given.
void AddThreadsOption(const Command& command, int& threads, const std::string& help);

}  // namespace tkmjpg::tool
