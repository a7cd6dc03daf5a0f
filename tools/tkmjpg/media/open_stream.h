// Compressed frames in, by what the input is.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/avi_parser.h"
#include "tools/tkmjpg/media/container_reader.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct StreamInput {
  std::unique_ptr<StreamReader> reader;
  std::string container;                   // "AVI", "OpenDML AVI", "MJPG", "JPEG", "Matroska", ...
  const AviFile* avi = nullptr;            // kept by the reader
  const ContainerReader* other = nullptr;  // the reader, if another container is open

  // What is wrong with the container or left out of it, one line each.
  std::vector<std::string> Problems() const;
};

struct StreamOptions {
  bool pairs = false;                 // two images without field codes make a frame
  std::optional<int64_t> start = {};  // number of the first of numbered pictures
  // Of field pairs the lines of the first image, "top" (0, 2, ...), "bottom" or "auto", and the
  // range of luma, "limited", "full" or "auto": what the stream says and the picture shows.
  std::string first_image = "auto", range = "auto";
  std::string rate = {};  // of what does not tell it: images back to back, pictures
};

// AVI and other containers, images back to back, one JPEG file or a numbered sequence; "-" is
// standard input. Throws UsageError for options that do not fit, InputError for what is none of
// these.
StreamInput OpenStream(const std::string& path, const StreamOptions& options);

// Whether `path` holds compressed frames, judged by its first bytes, or its name if it is numbered.
bool IsStream(const std::string& path);
bool IsAviFile(const std::string& path);

}  // namespace tkmjpg::tool
