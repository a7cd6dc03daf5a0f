// Ctrl-C. The first one lets the work end cleanly at the next frame, the second ends it at once.
#pragma once

#include <stdexcept>

namespace tkmjpg::tool {

// From here on the first SIGINT or SIGTERM only sets what Interrupted tells.
void CatchInterrupts();
bool Interrupted();

// Leaves a command that has nothing worth keeping; unfinished outputs go with it.
struct Interruption : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline void StopIfInterrupted() {
  if (Interrupted()) throw Interruption("interrupted");
}

}  // namespace tkmjpg::tool
