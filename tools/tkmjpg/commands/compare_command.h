// tkmjpg compare: how far two films differ.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddCompareCommand(CLI::App& app);

}  // namespace tkmjpg::tool
