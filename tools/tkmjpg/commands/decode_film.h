// All frames of a film to a writer, on several threads, with the same pixels for any number of
// them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct FilmSettings {
  std::string name;    // of the input, for messages
  uint32_t flags = 0;  // TkmjpgDecompressFlags
  int threads = 1;
  FrameRange range;
  bool keep_going = false;  // a frame that cannot be decoded: the one before it again
  bool conceal = false;     // lines that are lost: those of the frame before
  // Called after each frame, in order, with the bytes it had in the stream.
  std::function<void(size_t bytes)> progress = [](size_t) {};
};

struct FilmResult {
  int64_t frames = 0;
  uint64_t stream_bytes = 0;
  int64_t damaged = 0;       // frames that were decoded as far as they go
  int64_t concealed = 0;     // of these, frames with lines of the frame before
  int64_t repeated = 0;      // frames that could not be decoded
  std::string first_damage;  // "frame 7, MCU row 13: ..."
};

// `format` is the size of the pictures. Throws InputError at a frame that cannot be decoded.
FilmResult DecodeFilm(StreamReader& reader, const VideoFormat& format, FrameWriter& writer,
                      const FilmSettings& settings);

}  // namespace tkmjpg::tool
