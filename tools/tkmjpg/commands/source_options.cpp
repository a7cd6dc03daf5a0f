#include "tools/tkmjpg/commands/source_options.h"

#include "tools/tkmjpg/commands/stream_options.h"

namespace tkmjpg::tool {

void AddSourceOptions(const Command& command, InputOptions& o) {
  command.Add("--size", o.size, "the input is raw frames of this size, as 720x576")
      .ValueName("WIDTHxHEIGHT");
  command.Add("--layout", o.layout,
              "layout of raw frames: YUY2 (default), UYVY, VYUY, BGR3, BGR4, BGRA or R555");
  command
      .Add("--rate", o.rate,
           "frames a second of raw frames, pictures and .mjpg, as 25 (default) or 30000/1001")
      .ValueName("RATE");
  AddStartOption(command, o.start);
  command.AddFlag("--field-pairs", o.field_pairs,
                  "in .mjpg two images without field codes make a frame");
  command
      .Add("--first-image", o.first_image,
           "lines of the first image of field pairs in a film: top, bottom or auto (default)")
      .OneOf({"top", "bottom", "auto"});
  command.Add("--input-range", o.range, "range of luma in a film: limited, full or auto (default)")
      .OneOf({"limited", "full", "auto"});
}

}  // namespace tkmjpg::tool
