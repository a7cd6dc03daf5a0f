#include "tools/tkmjpg/report/html_text.h"

#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

const char* Entity(char character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return nullptr;
  }
}

}  // namespace

std::string HtmlText(std::string_view text) {
  std::string html;
  for (const char character : Printable(text)) {
    const char* const entity = Entity(character);
    entity != nullptr ? html += entity : html += character;
  }
  return html;
}

std::string ScriptJson(std::string json) {
  for (size_t at = 0; (at = json.find('<', at)) != std::string::npos;) {
    json.replace(at, 1, "\\u003c");
  }
  return json;
}

std::string Base64(std::span<const uint8_t> bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](size_t k) -> uint32_t { return i + k < bytes.size() ? bytes[i + k] : 0; };
    const uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (int shift = 18; shift >= 0; shift -= 6) text += kDigits[group >> shift & 63];
  }
  const size_t padding = (3 - bytes.size() % 3) % 3;
  text.replace(text.size() - padding, padding, padding, '=');
  return text;
}

}  // namespace tkmjpg::tool
