// Ctrl-C and its like. The first signal lets the work end cleanly at the next frame, the second
// ends it at once.
#pragma once

#include <stdexcept>

namespace tkmjpg::tool {

// From here on the first SIGINT, SIGTERM or SIGHUP only sets what Interrupted tells.
void CatchInterrupts();
bool Interrupted();
int InterruptSignal();        // 0 for none
const char* InterruptName();  // "SIGTERM"

// Waits until `descriptor` has something to read. False when a signal came first: a producer may
// be silent for as long as it likes.
bool WaitForInput(int descriptor);

// Leaves a command before its end.
struct Interruption : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline void StopIfInterrupted() {
  if (Interrupted()) throw Interruption("interrupted");
}

}  // namespace tkmjpg::tool
