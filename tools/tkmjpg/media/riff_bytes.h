// Little-endian words and nested chunks, put together in memory.
#pragma once

#include <cstdint>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

constexpr uint32_t FourCc(const char (&name)[5]) {
  uint32_t code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<uint8_t>(name[i]);
  return code;
}

inline void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

inline void Append16(Bytes& bytes, uint32_t value) {
  bytes.push_back(static_cast<uint8_t>(value));
  bytes.push_back(static_cast<uint8_t>(value >> 8));
}

inline void Append32(Bytes& bytes, uint32_t value) {
  Append16(bytes, value & 0xFFFF);
  Append16(bytes, value >> 16);
}

inline void Append64(Bytes& bytes, uint64_t value) {
  Append32(bytes, static_cast<uint32_t>(value));
  Append32(bytes, static_cast<uint32_t>(value >> 32));
}

inline void AppendChunk(Bytes& bytes, uint32_t id, const Bytes& body) {
  Append32(bytes, id);
  Append32(bytes, static_cast<uint32_t>(body.size()));
  bytes.insert(bytes.end(), body.begin(), body.end());
  if (body.size() % 2 != 0) bytes.push_back(0);
}

inline Bytes List(uint32_t type, const Bytes& chunks) {
  Bytes body, list;
  Append32(body, type);
  Append(body, chunks);
  AppendChunk(list, FourCc("LIST"), body);
  return list;
}

}  // namespace tkmjpg::tool
