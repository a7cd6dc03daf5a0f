// tkmjpg doctor: what a user whose host does not find the codec wants to know.
#pragma once

#include <CLI/CLI.hpp>

namespace tkmjpg::tool {

void AddDoctorCommand(CLI::App& app);

}  // namespace tkmjpg::tool
