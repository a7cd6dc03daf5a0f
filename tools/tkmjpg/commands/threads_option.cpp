#include "tools/tkmjpg/commands/threads_option.h"

#include <algorithm>
#include <thread>

namespace tkmjpg::tool {

void AddThreadsOption(const Command& command, int& threads, const std::string& help) {
  constexpr int kMaxThreads = 256;
  threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMaxThreads);
  command.Add("--threads", threads, help + "; default: one a core").Within(1, kMaxThreads);
}

}  // namespace tkmjpg::tool
