// tkmjpg split-plan: the ranges of frames that jobs take.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddSplitPlanCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
