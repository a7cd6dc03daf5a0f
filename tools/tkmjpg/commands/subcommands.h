// All subcommands, and the options that every one of them has.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"

namespace tkmjpg::tool {

inline constexpr char kCommandName[] = "tkmjpg";
inline constexpr char kCommandSummary[] = "Motion-JPEG: raw video in and out, exact and fast";

void AddSubcommands(const CommandLine& line);

}  // namespace tkmjpg::tool
