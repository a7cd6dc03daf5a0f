// How streams are opened, as options of the subcommands that read them.
#pragma once

#include <cstdint>
#include <optional>

#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/media/open_stream.h"

namespace tkmjpg::tool {

// --start of whatever reads numbered pictures.
void AddStartOption(const Command& command, std::optional<int64_t>& start);

// --first-image and --range.
void AddPictureOptions(const Command& command, StreamOptions& options);

void AddStreamOptions(const Command& command, StreamOptions& options);

}  // namespace tkmjpg::tool
