// Text from outside, such as names of files, made fit for a terminal and for JSON.
#pragma once

#include <string>
#include <string_view>

namespace tkmjpg::tool {

// In one line: control characters, and bytes that are no UTF-8, become "\x1b".
std::string Printable(std::string_view text);

// A JSON string, quoted. Bytes that are no UTF-8 become U+FFFD.
std::string JsonString(std::string_view text);

}  // namespace tkmjpg::tool
