// The codes that name raw pixel layouts.
#pragma once

#include <cstdint>

#include "tkmjpg.h"

namespace tkmjpg {

// Bits 12 to 15 give the bytes per pixel; otherwise a code is compared as a whole. "Full" codes are
// for streams whose luma runs over 0 to 255; the others expect the ITU-R BT.601 ranges.
enum class PixelFormatCode : uint32_t {
  kBgr24 = 0x8C33320,       // B G R
  kBgrx32 = 0x8C34323,      // B G R spare
  kBgra32 = 0x8C34324,      // B G R A
  kRgb555 = 0x8C32326,      // little-endian word 0RRRRRGGGGGBBBBB
  kRgb565 = 0x8C32325,      // little-endian word RRRRRGGGGGGBBBBB, decoder only
  kYuyv = 0x8C32332,        // pair Y0 Cb Y1 Cr
  kUyvy = 0x8C32331,        // pair Cb Y0 Cr Y1
  kVyuy = 0x8032333,        // pair Cr Y0 Cb Y1, encoder only
  kBgr24Full = 0x8C43320,   // decoder only
  kBgrx32Full = 0x8C44323,  // decoder only
  kBgra32Full = 0x8C44324,  // decoder only
  kYuyvFull = 0x8C42332,
  kUyvyFull = 0x8C42331,
};

constexpr uint32_t BytesPerPixel(PixelFormatCode format) {
  return (static_cast<uint32_t>(format) >> 12) & 0xF;
}

inline constexpr CodecCarryState kNewCarryState = {256, 0};

}  // namespace tkmjpg
