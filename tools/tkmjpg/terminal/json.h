// JSON that is written piece by piece.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>

#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {

// JSON knows neither infinity nor NaN: they become null.
inline std::string JsonReal(double value, int digits) {
  if (!std::isfinite(value)) return "null";
  char number[64];
  std::snprintf(number, sizeof number, "%.*f", digits, value);
  return number;
}

// The fields of one object.
class JsonObject {
 public:
  JsonObject& Raw(const char* name, const std::string& value) {
    text_ += text_.empty() ? "{" : ", ";
    text_ += JsonString(name) + ": " + value;
    return *this;
  }
  JsonObject& Text(const char* name, const std::string& value) {
    return Raw(name, JsonString(value));
  }
  JsonObject& Bool(const char* name, bool value) { return Raw(name, value ? "true" : "false"); }
  template <typename Number>
  JsonObject& Int(const char* name, Number value) {
    return Raw(name, std::to_string(value));
  }
  JsonObject& Real(const char* name, double value, int digits = 4) {
    return Raw(name, JsonReal(value, digits));
  }
  std::string Done() const { return text_.empty() ? "{}" : text_ + "}"; }

 private:
  std::string text_;
};

template <typename Items, typename Write>
std::string JsonArray(const Items& items, Write write) {
  std::string text = "[";
  for (const auto& item : items) {
    if (text.size() > 1) text += ", ";
    text += write(item);
  }
  return text + "]";
}

}  // namespace tkmjpg::tool
