// The containers that libavformat opens, by their first bytes.
#pragma once

#include <cstdint>
#include <span>

namespace tkmjpg::tool {

struct ContainerName {
  const char* name;     // for people
  const char* demuxer;  // for libavformat
};

// Null if it is none of them. Needs 12 bytes.
const ContainerName* FindContainer(std::span<const uint8_t> head);

}  // namespace tkmjpg::tool
