// Luma and chroma from 16..235 and 16..240 to 0..255, and back.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// What each sample becomes.
struct RangeTables {
  std::array<uint8_t, 256> luma, chroma;
};

const RangeTables& TablesTo(Range range);  // from the other one

void ChangeSamples(const std::array<uint8_t, 256>& table, std::span<uint8_t> samples);

// Packed 4:2:2, which has luma and chroma in turn.
enum class FirstSample { kLuma, kChroma };
void ChangePackedRange(Range to, FirstSample first, std::span<uint8_t> pixels);

// A line of B G R, of `pixel_bytes` each, to YUY2 of full range: (width + 1) / 2 pairs, of which
// the last one repeats a pixel if the width is odd.
void BgrLineToFullYuy2(const uint8_t* bgr, int pixel_bytes, int width, uint8_t* yuy2);

// Pixels of 16 bits, 0RRRRRGGGGGBBBBB, to B G R.
void R555ToBgr(std::span<const uint8_t> words, uint8_t* bgr);

}  // namespace tkmjpg::tool
