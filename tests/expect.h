// Expectations on texts and on what is thrown.
#pragma once

#include <gtest/gtest.h>

#include <string>

inline void ExpectHas(const std::string& text, const std::string& part) {
  EXPECT_NE(text.find(part), std::string::npos) << "no \"" << part << "\" in: " << text;
}

// What the error that `call` throws says.
template <typename Error, typename Call>
std::string ThrownBy(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing is thrown";
}
