#include "tools/tkmjpg/terminal/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace tkmjpg::tool {
namespace {

struct Caught {
  int number;
  const char* name;
};
constexpr Caught kCaught[] = {{SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}};

std::atomic<int> caught{0};
static_assert(std::atomic<int>::is_always_lock_free);  // else a handler must not touch it
int wake[2] = {-1, -1};                                // a pipe that the handler writes to

extern "C" void NoteInterrupt(int signal) {
  const int saved = errno;
  caught = signal;
  std::signal(signal, SIG_DFL);
  static_cast<void>(!write(wake[1], "", 1));
  errno = saved;
}

}  // namespace

void CatchInterrupts() {
  if (wake[0] < 0 && pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) wake[0] = wake[1] = -1;
  for (const Caught& one : kCaught) {
    // Who started it in the background may have had it ignore them.
    if (std::signal(one.number, NoteInterrupt) == SIG_IGN) std::signal(one.number, SIG_IGN);
  }
}

bool Interrupted() { return caught != 0; }
int InterruptSignal() { return caught; }

const char* InterruptName() {
  for (const Caught& one : kCaught) {
    if (one.number == caught) return one.name;
  }
  return "no signal";
}

bool WaitForInput(int descriptor) {
  for (;;) {
    pollfd waiting[2] = {{descriptor, POLLIN, 0}, {wake[0], POLLIN, 0}};
    if (poll(waiting, 2, -1) < 0 && errno == EINTR) continue;
    return waiting[1].revents == 0;
  }
}

}  // namespace tkmjpg::tool
