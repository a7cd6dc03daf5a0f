// tkmjpg testcard: frames of the moving test picture as pictures.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddTestcardCommand(CLI::App& app);

}  // namespace tkmjpg::tool
