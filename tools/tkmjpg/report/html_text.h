// Text and bytes made fit for an HTML page.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tkmjpg::tool {

// Text from outside, on one line, for an element or a quoted attribute.
std::string HtmlText(std::string_view text);

// JSON for a script element, which "</" would end.
std::string ScriptJson(std::string json);

// RFC 4648, with padding.
std::string Base64(std::span<const uint8_t> bytes);

}  // namespace tkmjpg::tool
