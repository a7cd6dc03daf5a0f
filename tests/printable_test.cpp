// Text from outside on a terminal and in JSON.
#include "tools/tkmjpg/terminal/printable.h"

#include <gtest/gtest.h>

namespace tkmjpg::tool {
namespace {

TEST(Printable, EscapesControlsAndWhatIsNoUtf8) {
  const struct {
    std::string text;
    const char *printed, *json;
  } cases[] = {
      {"", "", "\"\""},
      {"a \"b\" \\c/", "a \"b\" \\c/", "\"a \\\"b\\\" \\\\c/\""},
      {std::string("\0\x1F ~\x7F", 5), "\\x00\\x1f ~\\x7f", "\"\\u0000\\u001f ~\\u007f\""},
      // The first and the last character of each length, U+0080 to U+009F being controls.
      {"\xC2\x9F\xC2\xA0\xDF\xBF", "\\xc2\\x9f\xC2\xA0\xDF\xBF", "\"\\u009f\xC2\xA0\xDF\xBF\""},
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
       "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
       "\"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\""},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       "\"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\""},
      // A second spelling, a surrogate, a number too large, bytes that begin nothing, and an end
      // too early.
      {"\xC1\xBF", "\\xc1\\xbf", "\"\\ufffd\\ufffd\""},
      {"\xE0\x9F\xBF", "\\xe0\\x9f\\xbf", "\"\\ufffd\\ufffd\\ufffd\""},
      {"\xF0\x8F\xBF\xBF", "\\xf0\\x8f\\xbf\\xbf", "\"\\ufffd\\ufffd\\ufffd\\ufffd\""},
      {"\xED\xA0\x80", "\\xed\\xa0\\x80", "\"\\ufffd\\ufffd\\ufffd\""},
      {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "\"\\ufffd\\ufffd\\ufffd\\ufffd\""},
      {"\xF5\x80\xFF", "\\xf5\\x80\\xff", "\"\\ufffd\\ufffd\\ufffd\""},
      {"\xE2\x82", "\\xe2\\x82", "\"\\ufffd\\ufffd\""},
      {"\xE2\x82x\xC3\xA9", "\\xe2\\x82x\xC3\xA9", "\"\\ufffd\\ufffdx\xC3\xA9\""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Printable(c.text), c.printed);
    EXPECT_EQ(JsonString(c.text), c.json) << c.printed;
  }
}

}  // namespace
}  // namespace tkmjpg::tool
