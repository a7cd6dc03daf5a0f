#include "tools/tkmjpg/terminal/interrupt.h"

#include <atomic>
#include <csignal>

namespace tkmjpg::tool {
namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // else a handler must not touch it

extern "C" void NoteInterrupt(int signal) {
  interrupted = true;
  std::signal(signal, SIG_DFL);
}

}  // namespace

void CatchInterrupts() {
  for (const int signal : {SIGINT, SIGTERM}) {
    // Who started it in the background may have had it ignore them.
    if (std::signal(signal, NoteInterrupt) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

bool Interrupted() { return interrupted; }

}  // namespace tkmjpg::tool
