// Motion-JPEG frames and sound of MOV, MP4, Matroska, NUT and MPEG program streams, which
// libavformat takes apart. None of its decoders is used.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/container_name.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

class ContainerReader : public StreamReader {
 public:
  // What is left out or put right, one line each.
  virtual std::vector<std::string> Problems() const = 0;
};

// Throws InputError, also where libavformat is missing.
std::unique_ptr<ContainerReader> OpenContainer(std::shared_ptr<const ByteSource> source,
                                               const std::string& name,
                                               const ContainerName& container);

// What --version says of libavformat: its version, or why there is none.
std::string ContainerLibrary();

}  // namespace tkmjpg::tool
