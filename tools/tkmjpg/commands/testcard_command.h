// tkmjpg testcard: frames of the moving test picture as pictures.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddTestcardCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
