#include "tools/tkmjpg/commands/stream_options.h"

namespace tkmjpg::tool {

void AddStartOption(const Command& command, std::optional<int64_t>& start) {
  command.Add("--start", start, "number of the first of numbered pictures (default: 0 or 1)")
      .NotNegative();
}

void AddPictureOptions(const Command& command, StreamOptions& options) {
  command
      .Add("--first-image", options.first_image,
           "which lines the first image of a field pair has: 0, 2, ... (top), 1, 3, ... (bottom), "
           "or what the film tells: auto")
      .OneOf({"top", "bottom", "auto"})
      .ShowDefault();
  command
      .Add("--range", options.range,
           "range of luma in the stream: limited (16 to 235), full (0 to 255), or what the film "
           "tells: auto")
      .OneOf({"limited", "full", "auto"})
      .ShowDefault();
}

void AddStreamOptions(const Command& command, StreamOptions& options) {
  AddStartOption(command, options.start);
  command
      .Add("--rate", options.rate,
           "frames a second of .mjpg and .jpg, which do not tell it, as 25 or 30000/1001")
      .ValueName("RATE");
  command.AddFlag("--field-pairs", options.pairs,
                  "in .mjpg two images without field codes make a frame");
  AddPictureOptions(command, options);
}

}  // namespace tkmjpg::tool
