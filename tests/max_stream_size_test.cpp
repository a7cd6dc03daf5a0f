// TkmjpgMaxStreamSize: its constants from the code tables and the transform, and the frames that
// come nearest to it.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "encoder/coefficients_to_bits.h"
#include "encoder/forward_dct.h"
#include "encoder/quant_tables.h"
#include "frame/marker_segments.h"
#include "frame/transform_scale.h"
#include "tests/bytes.h"
#include "tkmjpg.h"

namespace {

using namespace tkmjpg;

// What the header states.
constexpr double kLargestLevels = 1072;  // root of the sum of the squares of a block's AC levels
constexpr int kMcuBytes = 864, kImageBytes = 640;

// Levels are a transform's coefficients C, of which Parseval's theorem says sum(C^2) <= 64 *
// 127.5^2 without DC, times a gain of about 1 / step, plus what truncation, bias and rounding add
// at most.
TEST(MaxStreamSize, LevelsOfABlock) {
  // The truncated products that end in each output of a pass.
  constexpr double kTruncations[8] = {0, 3, 1, 3, 0, 3, 1, 3};
  EncoderContext context;
  BuildQuantTablesFromQuality(context, 100);
  for (const EncoderQuantTable& table : context.quant_tables) {
    QuantiserTable quantiser;
    BuildQuantiser(table, quantiser);
    double largest_gain = 0, added = 0;
    for (int v = 0; v < 8; ++v) {
      double row_error_gain = 0;
      for (int i = 0; i < 8; ++i) {
        row_error_gain += TransformGain(v) / 2 * std::abs(std::cos((2 * i + 1) * v * M_PI / 16));
      }
      for (int u = v == 0 ? 1 : 0; u < 8; ++u) {
        const int n = 8 * v + u;
        const double reciprocal = quantiser.quant_reciprocal[n] / 65536.0;
        largest_gain = std::max(largest_gain, TransformGain(u) * TransformGain(v) * reciprocal);
        const double error = row_error_gain * kTruncations[u] + kTruncations[v] +
                             kTransformBias[n] + quantiser.quant_correction[n];
        added += std::pow(error * reciprocal, 2);
      }
    }
    // The multipliers of the transform are cosines to 15 bits.
    EXPECT_LE(largest_gain * 8 * 127.5 * (1 + 1e-4) + std::sqrt(added), kLargestLevels);
  }
}

constexpr int kOpenOnes = 27;  // more 1 bits no symbol leaves open

// A code and its amplitude bits as a stretch of 1 bits sees them: a code has a 0, an amplitude may
// have none.
struct Symbol {
  int bits, ones_before, ones_after;  // of the first and of the last 0
};

Symbol SymbolOf(uint32_t entry, int size) {
  const int length = static_cast<int>(entry & 0xFF);
  const uint32_t code = (entry >> 8) << (32 - length);
  const int head = std::countl_one(code), tail = std::countr_one(entry >> 8);
  EXPECT_LT(length - head - tail, 10) << "there may be a byte of 1 bits between";
  EXPECT_LT(tail + size, kOpenOnes);
  return {length + size, head, tail + size};
}

// The most that a block adds: its bits, and eight for each byte of 1 bits that has place between
// two zeros. A level of `size` bits pays for its square, so that the result bounds all blocks whose
// squares have the sum kLargestLevels^2, whatever the price is.
double WorstBlockBits(const HuffmanCodeTable& dc, const HuffmanCodeTable& ac, double price) {
  constexpr double kNone = -1e9;
  double best[65][kOpenOnes], worst = kNone;  // by positions done and 1 bits left open
  for (auto& row : best) std::fill(row, row + kOpenOnes, kNone);
  const auto add = [](double before, const Symbol& s, int open) {
    const int full_bytes = (open + s.ones_before) / 8;
    return before + s.bits + 8 * full_bytes;
  };
  for (int size = 0; size <= 11; ++size) {
    const Symbol s = SymbolOf(dc[static_cast<size_t>(size)], size);
    double& after = best[1][s.ones_after];
    after = std::max(after, add(0, s, kOpenOnes - 1));
  }
  for (int done = 1; done < 64; ++done) {
    for (int open = 0; open < kOpenOnes; ++open) {
      for (uint32_t value = 0; value < 256; ++value) {
        if (ac[value] == 0) continue;
        const int size = value & 15, run = static_cast<int>(value >> 4);
        const Symbol s = SymbolOf(ac[value], size);
        const int now = value == 0 ? 64 : done + run + 1;
        const double cost = size == 0 ? 0 : price * std::pow(4, size - 1);
        if (now > 64) continue;
        double& after = best[now][s.ones_after];
        after = std::max(after, add(best[done][open], s, open) - cost);
      }
    }
  }
  for (const double bits : best[64]) worst = std::max(worst, bits);
  return worst + price * kLargestLevels * kLargestLevels;
}

TEST(MaxStreamSize, BytesOfAnMcu) {
  const double luma = WorstBlockBits(kDcLumaCodes, kAcLumaCodes, 30e-5);
  const double chroma = WorstBlockBits(kDcChromaCodes, kAcChromaCodes, 8e-5);
  EXPECT_LE(2 * luma + 2 * chroma, 8 * kMcuBytes);
  EXPECT_GT(2 * luma + 2 * chroma, 8 * kMcuBytes * 0.97) << "the bound could be lower";
}

TEST(MaxStreamSize, BytesAroundAScan) {
  const NumberedQuantTable tables[2] = {};
  const size_t application =
      std::max({Avi1Segment(0, true).Bytes().size() + RestartIntervalSegment(0).Bytes().size(),
                Avi1Segment(0, false).Bytes().size() + Dc30Segment().Bytes().size(),
                JfifSegment(2).Bytes().size()});
  const size_t headers = QuantTablesSegment(tables).Bytes().size() +
                         FrameHeaderSegment(1, 1).Bytes().size() +
                         HuffmanTablesSegment(kStandardHuffmanTables).Bytes().size() +
                         ScanHeaderSegment().Bytes().size();
  // SOI, EOI, up to 7 bits that complete a byte, stuffing of the 1 bits left open, fill.
  const size_t end = 2 + 2 + 1 + (kOpenOnes + 7) / 8 + FillSize(1);
  EXPECT_LE(application + headers + end, size_t{kImageBytes});
}

// Noise of the two extreme values: all levels of a block are as large as they can be together.
Bytes Extremes(size_t size) {
  Bytes pixels = Noise(size, 1);
  for (uint8_t& pixel : pixels) pixel = static_cast<uint8_t>((pixel & 1) * 255);
  return pixels;
}

struct FrameCase {
  int width, height;
  uint32_t flags;
};

class MaxStreamSizeOfFrames : public testing::TestWithParam<FrameCase> {};

TEST_P(MaxStreamSizeOfFrames, HoldsNoise) {
  const auto [width, height, flags] = GetParam();
  const uint32_t capacity = TkmjpgMaxStreamSize(width, height, flags);
  for (const uint32_t layout : {TKMJPG_YUY2, TKMJPG_BGRA}) {
    const int bytes = layout == TKMJPG_YUY2 ? 2 : 4;
    const Bytes pixels = Extremes(static_cast<size_t>(width) * height * bytes);
    std::vector<uint8_t> stream(capacity);
    const uint32_t size = CompressBuffer_MJPG(pixels.data(), width * bytes, stream.data(), capacity,
                                              width, height, 100, flags, layout, 0, nullptr);
    EXPECT_GT(size, 0U);
    EXPECT_LE(size, capacity);
    if (layout == TKMJPG_YUY2 && width >= 256) {
      EXPECT_GT(size, capacity / 2) << "the bound is far too high";
    }
  }
}

constexpr uint32_t kStyle = 1U << TKMJPG_C_MODE_SHIFT;
INSTANTIATE_TEST_SUITE_P(
    All, MaxStreamSizeOfFrames,
    testing::Values(FrameCase{256, 256, 0}, FrameCase{256, 255, TKMJPG_C_FIELDS},
                    FrameCase{1, 1, TKMJPG_C_HUFFMAN_TABLES | kStyle},
                    FrameCase{17, 9, TKMJPG_C_ALPHA}, FrameCase{15, 17, TKMJPG_C_FIELDS},
                    FrameCase{33, 31, TKMJPG_C_FIELDS | TKMJPG_C_ONE_FIELD | TKMJPG_C_ALPHA},
                    FrameCase{0, 5, TKMJPG_C_HUFFMAN_TABLES | TKMJPG_C_FIELDS | kStyle},
                    FrameCase{5, 1, TKMJPG_C_FIELDS}));

TEST(MaxStreamSize, IsNeverAboveWhatThirtyTwoBitsHold) {
  EXPECT_EQ(TkmjpgMaxStreamSize(65535, 65535, TKMJPG_C_ALPHA), UINT32_MAX);
  EXPECT_EQ(TkmjpgMaxStreamSize(INT32_MAX, INT32_MAX, 0), UINT32_MAX);
  EXPECT_EQ(TkmjpgMaxStreamSize(-5, INT32_MIN, 0), TkmjpgMaxStreamSize(0, 0, 0));
}

}  // namespace
