// tkmjpg encode: raw video in, Motion-JPEG out.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddEncodeCommand(CLI::App& app);

}  // namespace tkmjpg::tool
