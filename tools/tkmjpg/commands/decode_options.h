// Options that decode, md5 and compare share.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/commands/decode_film.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/stream_options.h"

namespace tkmjpg::tool {

struct DecodeOptions {
  std::string input;
  std::string frames;  // "A:B"
  bool one_field = false;
  bool smart = false;
  StreamOptions stream;
  bool keep_going = false;
  bool conceal = false;
  bool quiet = false;
  int threads = 1;

  uint32_t Flags() const;
  FilmSettings Settings() const;  // throws UsageError
};

void AddDecodeOptions(const Command& command, DecodeOptions& options);
void AddRunOptions(const Command& command, DecodeOptions& options);

// Decodes `options.input` to the writer that `open` makes, with progress, warnings and summary,
// and finishes it. The summary names `output`. Throws DamageError if
// frames are damaged.
using OpenWriter = std::function<FrameWriter&(const VideoFormat& format, FilmInput& film)>;
void RunDecode(const DecodeOptions& options, const std::string& output, const OpenWriter& open);

}  // namespace tkmjpg::tool
