// The raw pixel layouts: one table that entries, converters and the command read.
#pragma once

#include <cstdint>
#include <span>

#include "tkmjpg.h"

namespace tkmjpg {

// Bits 12 to 15 give the bytes per pixel; otherwise a code is compared as a whole. "Full" codes and
// those of 16-bit RGB are for streams whose luma runs over 0 to 255; the others expect the ITU-R
// BT.601 ranges.
enum class PixelFormatCode : uint32_t {
  kBgr24 = 0x8C33320,
  kBgrx32 = 0x8C34323,
  kBgra32 = 0x8C34324,
  kRgb555 = 0x8C32326,
  kRgb565 = 0x8C32325,
  kYuyv = 0x8C32332,
  kUyvy = 0x8C32331,
  kVyuy = 0x8032333,
  kBgr24Full = 0x8C43320,
  kBgrx32Full = 0x8C44323,
  kBgra32Full = 0x8C44324,
  kYuyvFull = 0x8C42332,
  kUyvyFull = 0x8C42331,
};

constexpr uint32_t BytesPerPixel(PixelFormatCode format) {
  return (static_cast<uint32_t>(format) >> 12) & 0xF;
}

enum class PixelKind : uint8_t {
  kPackedYuv,  // pairs of two luma samples and one of each chroma
  kBgr,        // bytes B G R, and a fourth in the layouts of four
  kRgb16,      // little-endian words
};

struct PixelLayout {
  uint32_t fourcc;
  PixelFormatCode code;
  PixelFormatCode full_range;  // what TKMJPG_D_FULL_RANGE makes of it
  PixelKind kind;
  // Packed YUV: where a pair has its first luma sample, Cb and Cr; the second luma sample is two
  // bytes after the first. BGR of four bytes: the fourth in decoded pixels is `last_byte`.
  uint8_t luma, cb, cr, last_byte;
  bool encoded, decoded;  // which way it goes
};

namespace layout_table {

using enum PixelFormatCode;
using enum PixelKind;

// clang-format off
inline constexpr PixelLayout kRows[] = {
    // fourcc      code         full range   kind        luma cb cr last  encoded decoded
    {TKMJPG_YUY2, kYuyv,       kYuyvFull,   kPackedYuv, 0, 1, 3,   0, true,  true},
    {TKMJPG_YUYV, kYuyv,       kYuyvFull,   kPackedYuv, 0, 1, 3,   0, false, true},
    {TKMJPG_UYVY, kUyvy,       kUyvyFull,   kPackedYuv, 1, 0, 2,   0, true,  true},
    {TKMJPG_VYUY, kVyuy,       kVyuy,       kPackedYuv, 1, 2, 0,   0, true,  false},
    {TKMJPG_YuYv, kYuyvFull,   kYuyvFull,   kPackedYuv, 0, 1, 3,   0, true,  true},
    {TKMJPG_UyVy, kUyvyFull,   kUyvyFull,   kPackedYuv, 1, 0, 2,   0, true,  true},
    {TKMJPG_BGR3, kBgr24,      kBgr24Full,  kBgr,       0, 0, 0,   0, true,  true},
    {TKMJPG_BGR4, kBgrx32,     kBgrx32Full, kBgr,       0, 0, 0,   0, true,  true},
    {TKMJPG_BGRA, kBgra32,     kBgra32Full, kBgr,       0, 0, 0, 255, true,  true},
    {TKMJPG_bgr3, kBgr24Full,  kBgr24Full,  kBgr,       0, 0, 0,   0, false, true},
    {TKMJPG_bgr4, kBgrx32Full, kBgrx32Full, kBgr,       0, 0, 0,   0, false, true},
    {TKMJPG_bgra, kBgra32Full, kBgra32Full, kBgr,       0, 0, 0, 255, false, true},
    {TKMJPG_R555, kRgb555,     kRgb555,     kRgb16,     0, 0, 0,   0, true,  true},
    {TKMJPG_R565, kRgb565,     kRgb565,     kRgb16,     0, 0, 0,   0, false, true},
};
// clang-format on

}  // namespace layout_table

inline constexpr std::span<const PixelLayout> kPixelLayouts = layout_table::kRows;

// Null for a name that is none.
constexpr const PixelLayout* FindPixelLayout(uint32_t fourcc) {
  for (const PixelLayout& layout : kPixelLayouts) {
    if (layout.fourcc == fourcc) return &layout;
  }
  return nullptr;
}

// Of layouts that share a code the first; null for a code that is none.
constexpr const PixelLayout* FindPixelLayout(PixelFormatCode code) {
  for (const PixelLayout& layout : kPixelLayouts) {
    if (layout.code == code) return &layout;
  }
  return nullptr;
}

inline constexpr CodecCarryState kNewCarryState = {256, 0};

}  // namespace tkmjpg
