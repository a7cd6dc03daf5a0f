// How raw frames and films are opened, as options of the subcommands that take either.
#pragma once

#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/media/open_input.h"

namespace tkmjpg::tool {

// --size, --layout, --rate, --start and --field-pairs.
void AddSourceOptions(const Command& command, InputOptions& options);

}  // namespace tkmjpg::tool
