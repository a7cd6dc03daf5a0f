// How streams are opened, as options of the subcommands that read them.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/tkmjpg/media/open_stream.h"

namespace tkmjpg::tool {

// --start of whatever reads numbered pictures.
void AddStartOption(CLI::App& command, std::optional<int64_t>& start);

void AddStreamOptions(CLI::App& command, StreamOptions& options);

}  // namespace tkmjpg::tool
