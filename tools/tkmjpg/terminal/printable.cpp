#include "tools/tkmjpg/terminal/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace tkmjpg::tool {
namespace {

struct Range {
  uint8_t low, high;
};

// The bytes that may follow the first one (RFC 3629): no number has two spellings, none is a
// surrogate, none is above U+10FFFF.
Range SecondByte(uint8_t first) {
  switch (first) {
    case 0xE0:
      return {0xA0, 0xBF};
    case 0xED:
      return {0x80, 0x9F};
    case 0xF0:
      return {0x90, 0xBF};
    case 0xF4:
      return {0x80, 0x8F};
    default:
      return {0x80, 0xBF};
  }
}

size_t LengthByFirstByte(uint8_t first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first <= 0xDF) return 2;
  if (first >= 0xE0 && first <= 0xEF) return 3;
  if (first >= 0xF0 && first <= 0xF4) return 4;
  return 0;
}

// Bytes of the character that `text` begins with; 0 if that is no UTF-8.
size_t CharacterLength(std::string_view text) {
  const auto first = static_cast<uint8_t>(text[0]);
  const size_t length = LengthByFirstByte(first);
  if (length > text.size()) return 0;
  Range range = SecondByte(first);
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if (byte < range.low || byte > range.high) return 0;
    range = {0x80, 0xBF};
  }
  return length;
}

// U+0000 to U+001F and U+007F to U+009F. The last byte is the number of each.
bool IsControl(std::string_view character) {
  const auto last = static_cast<uint8_t>(character.back());
  if (character.size() == 1) return last < 0x20 || last == 0x7F;
  return character.size() == 2 && character[0] == '\xC2' && last < 0xA0;
}

std::string Hex(const char* format, char byte) {
  char text[8];
  std::snprintf(text, sizeof text, format, static_cast<unsigned>(static_cast<uint8_t>(byte)));
  return text;
}

// Joins what `write` makes of each character, and of each byte that is none.
template <typename Write>
std::string Rewritten(std::string_view text, Write write) {
  std::string written;
  while (!text.empty()) {
    const size_t length = CharacterLength(text);
    const std::string_view character = text.substr(0, std::max<size_t>(length, 1));
    written += write(character, length != 0);
    text.remove_prefix(character.size());
  }
  return written;
}

}  // namespace

std::string Printable(std::string_view text) {
  return Rewritten(text, [](std::string_view character, bool valid) {
    if (valid && !IsControl(character)) return std::string(character);
    std::string escaped;
    for (const char byte : character) escaped += Hex("\\x%02x", byte);
    return escaped;
  });
}

std::string JsonString(std::string_view text) {
  const auto write = [](std::string_view character, bool valid) {
    if (!valid) return std::string("\\ufffd");
    if (IsControl(character)) return Hex("\\u%04x", character.back());
    std::string written(character);
    if (character == "\"" || character == "\\") written.insert(0, 1, '\\');
    return written;
  };
  return '"' + Rewritten(text, write) + '"';
}

}  // namespace tkmjpg::tool
