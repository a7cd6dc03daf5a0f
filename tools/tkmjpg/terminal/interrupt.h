// Ctrl-C. The first one lets the work end cleanly at the next frame, the second ends it at once.
#pragma once

#include <exception>

namespace tkmjpg::tool {

// From here on the first SIGINT or SIGTERM only sets what Interrupted tells.
void CatchInterrupts();
bool Interrupted();

// Leaves a command that has nothing worth keeping; unfinished outputs go with it.
struct Interruption : std::exception {
  const char* what() const noexcept override { return "interrupted"; }
};

inline void StopIfInterrupted() {
  if (Interrupted()) throw Interruption();
}

}  // namespace tkmjpg::tool
