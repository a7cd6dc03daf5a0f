// An MCU on its way from its coefficients to the picture, and what the text of the fast rows needs,
// to be included before any namespace is open.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "cpu/prefetch.h"
#include "decoder/fast_reader.h"
#include "decoder/fast_symbols.h"
#include "decoder/mcu_row.h"
#include "decoder/output_conversion.h"
#include "decoder/output_terms.h"
#include "frame/layout.h"
#include "frame/stream_format.h"
#include "frame/transform_scale.h"

namespace tkmjpg {

struct McuJob {
  int16_t* coefficients;    // left zero for the next MCU
  const uint8_t* ends;      // of its four blocks: after the last coefficient, in zig-zag order
  const uint16_t* dequant;  // as FastReader has it
  uint8_t* samples;         // 256 bytes, aligned to 64, that a step leaves to the next ones
  uint8_t* const* rows;     // the first `row_count` lines of pixels go to rows[i] + offset
  int row_count;
  size_t offset;
  McuConverter convert;  // the plain one of the layout
};
using McuStep = void (*)(const McuJob& job);

// Transforms an MCU, converts it and stores it in up to four steps, one after each block of the
// next MCU; null where there is nothing to do. The processor can look ahead to those blocks, whose
// reading leaves it time, but not over all the way to the pixels.
using McuWriter = std::array<McuStep, 4>;

constexpr McuWriter LastStep(McuStep step) { return {nullptr, nullptr, nullptr, step}; }

}  // namespace tkmjpg
