#include "tools/tkmjpg/media/container_name.h"

#include <cstring>
#include <string_view>

namespace tkmjpg::tool {
namespace {

constexpr ContainerName kMov = {"MOV or MP4", "mov"}, kMatroska = {"Matroska", "matroska"},
                        kNut = {"NUT", "nut"}, kProgram = {"MPEG program stream", "mpeg"};

constexpr struct {
  size_t offset;
  std::string_view bytes;
  const ContainerName& container;
} kSigns[] = {{0, "\x1A\x45\xDF\xA3", kMatroska},
              {0, "nut/", kNut},
              {0, std::string_view("\0\0\x01\xBA", 4), kProgram},
              {4, "ftyp", kMov},
              {4, "moov", kMov},
              {4, "mdat", kMov},
              {4, "wide", kMov},
              {4, "free", kMov},
              {4, "skip", kMov},
              {4, "pnot", kMov}};

}  // namespace

const ContainerName* FindContainer(std::span<const uint8_t> head) {
  for (const auto& sign : kSigns) {
    if (head.size() < sign.offset + sign.bytes.size()) continue;
    if (std::memcmp(head.data() + sign.offset, sign.bytes.data(), sign.bytes.size()) == 0) {
      return &sign.container;
    }
  }
  return nullptr;
}

}  // namespace tkmjpg::tool
