// tkmjpg doctor: what a user whose host does not find the codec wants to know.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

void AddDoctorCommand(const CommandLine& line);

}  // namespace tkmjpg::tool
