#include "tools/tkmjpg/media/decode_layout.h"

#include <array>

#include "tkmjpg.h"

namespace tkmjpg::tool {
namespace {

struct DecodeLayout {
  const char* name;
  uint32_t layout;
  int bytes;                     // per pixel
  std::array<uint8_t, 4> black;  // repeated over the picture
};

constexpr std::array<uint8_t, 4> kLumaFirst = {16, 128, 16, 128}, kChromaFirst = {128, 16, 128, 16},
                                 kZero = {0, 0, 0, 0}, kOpaque = {0, 0, 0, 255};

constexpr DecodeLayout kLayouts[] = {
    {"YUY2", TKMJPG_YUY2, 2, kLumaFirst},   {"YUYV", TKMJPG_YUYV, 2, kLumaFirst},
    {"UYVY", TKMJPG_UYVY, 2, kChromaFirst}, {"YuYv", TKMJPG_YuYv, 2, kLumaFirst},
    {"UyVy", TKMJPG_UyVy, 2, kChromaFirst}, {"BGR3", TKMJPG_BGR3, 3, kZero},
    {"BGR4", TKMJPG_BGR4, 4, kZero},        {"BGRA", TKMJPG_BGRA, 4, kOpaque},
    {"R555", TKMJPG_R555, 2, kZero},        {"R565", TKMJPG_R565, 2, kZero},
    {"bgr3", TKMJPG_bgr3, 3, kZero},        {"bgr4", TKMJPG_bgr4, 4, kZero},
    {"bgra", TKMJPG_bgra, 4, kOpaque},
};

const DecodeLayout* Find(uint32_t layout) {
  for (const DecodeLayout& known : kLayouts) {
    if (known.layout == layout) return &known;
  }
  return nullptr;
}

}  // namespace

uint32_t DecodeLayoutByName(const std::string& name) {
  for (const DecodeLayout& known : kLayouts) {
    if (name == known.name) return known.layout;
  }
  return 0;
}

std::string DecodeLayoutNames() {
  std::string names;
  for (const DecodeLayout& known : kLayouts)
    names += (names.empty() ? "" : ", ") + std::string(known.name);
  return names;
}

int LayoutBytesPerPixel(uint32_t layout) {
  const DecodeLayout* known = Find(layout);
  return known == nullptr ? 0 : known->bytes;
}

void FillBlack(uint32_t layout, uint8_t* pixels, size_t bytes) {
  const DecodeLayout* known = Find(layout);
  if (known == nullptr) return;
  for (size_t i = 0; i < bytes; ++i) pixels[i] = known->black[i % 4];
}

}  // namespace tkmjpg::tool
