// Raw frames in, by the name of the input.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct InputOptions {
  std::string size;                       // "720x576"; makes the input raw frames
  std::string rate;                       // frames a second of raw frames and PNG
  std::string layout;                     // of raw frames
  std::optional<FieldOrder> field_order;  // in place of what the input says
  bool alpha = false;                     // keep the alpha plane: frames are BGRA
  std::optional<int64_t> start = {};      // number of the first of numbered pictures
  bool keep_full_range = false;           // full-range Y4M stays so, and Format() says it
  bool field_pairs = false;               // of .mjpg, as StreamOptions::pairs
  // Of films, as StreamOptions says.
  std::string first_image = "auto", range = "auto";
  bool keep_going = false;  // a frame of a film that cannot be read: the one before it again
};

// testcard:WxH@RATE[:FRAMES], NAME.png or NAME_%04d.png, also .ppm, .pgm and .pnm, raw frames if a
// size is given, else Y4M from a file or, as "-", from standard input.
std::unique_ptr<FrameReader> OpenFrameReader(const std::string& name, const InputOptions& options);

}  // namespace tkmjpg::tool
