// tkmjpg repair: a film made fit for other readers, without recoding.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddRepairCommand(CLI::App& app);

}  // namespace tkmjpg::tool
