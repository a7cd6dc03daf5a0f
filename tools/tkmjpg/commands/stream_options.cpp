#include "tools/tkmjpg/commands/stream_options.h"

namespace tkmjpg::tool {

void AddStartOption(const Command& command, std::optional<int64_t>& start) {
  command.Add("--start", start, "number of the first of numbered pictures (default: 0 or 1)")
      .NotNegative();
}

void AddStreamOptions(const Command& command, StreamOptions& options) {
  AddStartOption(command, options.start);
  command.AddFlag("--field-pairs", options.pairs,
                  "in .mjpg two images without field codes make a frame");
}

}  // namespace tkmjpg::tool
