// Compressed frames in, by what the input is.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/avi_parser.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct StreamInput {
  std::unique_ptr<StreamReader> reader;
  std::string container;         // "AVI", "OpenDML AVI", "MJPG", "JPEG"
  const AviFile* avi = nullptr;  // kept by the reader

  // What is wrong with the container, one line each.
  std::vector<std::string> Problems() const;
};

struct StreamOptions {
  bool pairs = false;                 // two images without field codes make a frame
  std::optional<int64_t> start = {};  // number of the first of numbered pictures
};

// An AVI file, images back to back, one JPEG file or a numbered sequence; "-" is standard input.
StreamInput OpenStream(const std::string& path, const StreamOptions& options);

// Whether `path` holds compressed frames, judged by its first bytes, or its name if it is numbered.
bool IsStream(const std::string& path);

}  // namespace tkmjpg::tool
