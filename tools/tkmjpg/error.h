// What the command tells its user when it gives up: one line on stderr and an exit code.
#pragma once

#include <stdexcept>
#include <string>

namespace tkmjpg::tool {

// Bad input, exit code 1. The text is "FILE: what is wrong, and at which byte or frame".
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An output that cannot be written, exit code 1.
class OutputError : public InputError {
 public:
  using InputError::InputError;
};

// The output was written, but the input is damaged: exit code 3.
class DamageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Bad usage, exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tkmjpg::tool
