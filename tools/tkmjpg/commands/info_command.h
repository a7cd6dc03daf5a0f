// tkmjpg info: what a compressed film holds.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddInfoCommand(CLI::App& app);

}  // namespace tkmjpg::tool
