#include "tools/tkmjpg/commands/stream_options.h"

namespace tkmjpg::tool {

void AddStartOption(CLI::App& command, std::optional<int64_t>& start) {
  command
      .add_option("--start", start, "number of the first of numbered pictures (default: 0 or 1)")
      ->check(CLI::NonNegativeNumber);
}

void AddStreamOptions(CLI::App& command, StreamOptions& options) {
  AddStartOption(command, options.start);
  command.add_flag("--field-pairs", options.pairs,
                   "in .mjpg two images without field codes make a frame");
}

}  // namespace tkmjpg::tool
