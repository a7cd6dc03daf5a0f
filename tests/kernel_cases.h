// What the tests of kernels share: the rungs to compare, and content for them to work on.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "cpu/cpu_rung.h"
#include "frame/pixel_format.h"
#include "tests/frame_calls.h"

// Runs `check` for the fast rungs of this processor, each in a trace of its name.
inline void ForEachFastRung(const std::function<void(tkmjpg::CpuRung)>& check) {
  for (int rung = 1; rung <= static_cast<int>(tkmjpg::HighestCpuRung()); ++rung) {
    SCOPED_TRACE(tkmjpg::CpuRungName(static_cast<tkmjpg::CpuRung>(rung)));
    check(static_cast<tkmjpg::CpuRung>(rung));
    if (testing::Test::HasFatalFailure()) return;
  }
}

inline std::string Hex(const uint8_t* bytes, size_t count) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < count; ++i) text += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
  return text;
}

enum class Content { kLow, kHigh, kUniform, kNoise, kReal };
inline constexpr Content kContents[] = {Content::kLow, Content::kHigh, Content::kUniform,
                                        Content::kNoise, Content::kReal};

// Lines of bytes. Real: slopes, with an edge across them and a little grain.
inline Bytes MakeBytes(Content content, size_t line_bytes, size_t lines, uint32_t seed) {
  Bytes bytes = Noise(line_bytes * lines, seed);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const size_t x = i % line_bytes, y = i / line_bytes;
    if (content == Content::kLow) bytes[i] = 0;
    if (content == Content::kHigh) bytes[i] = 255;
    if (content == Content::kUniform) bytes[i] = static_cast<uint8_t>(seed * 37);
    if (content == Content::kReal) {
      bytes[i] = static_cast<uint8_t>((x + 3 * y + seed) / 2 % 160 + (x > 5 * y + seed % 40) * 64 +
                                      bytes[i] % 4);
    }
  }
  return bytes;
}

// The layouts of the encoder's kernels and of the decoder's.
using Code = tkmjpg::PixelFormatCode;
inline constexpr Code kInputCodes[] = {Code::kYuyv,     Code::kYuyvFull, Code::kUyvy,
                                       Code::kUyvyFull, Code::kVyuy,     Code::kBgr24,
                                       Code::kBgrx32,   Code::kBgra32,   Code::kRgb555};
inline constexpr Code kOutputCodes[] = {Code::kYuyv,       Code::kYuyvFull,   Code::kUyvy,
                                        Code::kUyvyFull,   Code::kBgr24,      Code::kBgr24Full,
                                        Code::kBgrx32,     Code::kBgrx32Full, Code::kBgra32,
                                        Code::kBgra32Full, Code::kRgb555,     Code::kRgb565};
