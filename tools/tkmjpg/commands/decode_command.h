// tkmjpg decode: Motion-JPEG in, raw video out.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddDecodeCommand(CLI::App& app);

}  // namespace tkmjpg::tool
