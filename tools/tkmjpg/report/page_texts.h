// page.html, page.css and page.js, compiled in.
#pragma once

#include <string_view>

namespace tkmjpg::tool {

extern const std::string_view kPageHtml, kPageStyle, kPageScript;

}  // namespace tkmjpg::tool
