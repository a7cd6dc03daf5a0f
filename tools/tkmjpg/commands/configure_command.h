// tkmjpg configure: the driver's dialog in a terminal, and for scripts.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddConfigureCommand(CLI::App& app);

}  // namespace tkmjpg::tool
