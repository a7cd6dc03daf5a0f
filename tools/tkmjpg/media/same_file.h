// An output must not be what is read at the same time.
#pragma once

#include <string>

namespace tkmjpg::tool {

// Throws UsageError if `output` is a file that `input` names too, by links as well. Either may be
// numbered pictures or "-".
void RefuseSameFile(const std::string& input, const std::string& output);

}  // namespace tkmjpg::tool
