// What --version prints.
#pragma once

#include <string>

namespace tkmjpg::tool {

// The version, how it was built, the instruction sets, and the libraries that it runs with.
std::string VersionText();

}  // namespace tkmjpg::tool
