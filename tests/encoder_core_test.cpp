// The encoder's steps against values that were worked out by hand from their rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "encoder/encoder_kernels.h"
#include "encoder/entropy_output.h"
#include "encoder/forward_dct.h"
#include "encoder/frame_compressor.h"
#include "encoder/huffman_coder.h"
#include "encoder/input_conversion.h"
#include "encoder/quant_tables.h"
#include "encoder/rate_control.h"
#include "frame/transform_scale.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;
using Values = std::array<uint8_t, 64>;

Values TableFromScale(int32_t scale, int table) {
  EncoderContext context;
  BuildQuantTablesFromScale(context, scale);
  return context.quant_tables[table].values;
}

TEST(QuantTables, TellingValues) {
  const std::pair<int, int> qualities[] = {{101, 0},  {100, 0},  {90, 20},  {63, 74},  {50, 100},
                                           {49, 102}, {25, 200}, {1, 5000}, {0, 5000}, {-7, 5000}};
  for (const auto& [quality, scale] : qualities) EXPECT_EQ(ScaleFromQuality(quality), scale);
  struct Case {
    int scale, table, at;
    std::array<int, 4> values;
  };
  const Case cases[] = {{0, 0, 60, {1, 1, 2, 3}},          {1, 1, 60, {1, 1, 2, 3}},
                        {1, 1, 55, {2, 1, 1, 1}},          {20, 0, 60, {22, 20, 21, 20}},
                        {76, 0, 60, {86, 78, 80, 77}},     {74, 1, 4, {73, 73, 73, 73}},
                        {100, 1, 4, {124, 130, 136, 142}}, {200, 0, 60, {255, 255, 255, 255}},
                        {20, 0, 0, {3, 2, 2, 3}},          {102, 0, 0, {16, 12, 14, 20}}};
  for (const Case& c : cases) {
    const Values values = TableFromScale(c.scale, c.table);
    EXPECT_TRUE(std::equal(c.values.begin(), c.values.end(), values.begin() + c.at)) << c.scale;
  }
}

TEST(QuantTables, QuantisersOfEveryScaleStayInSixteenSignedBits) {
  struct Case {
    int n;
    uint8_t q;
    int reciprocal, correction;
  };
  const Case cases[] = {{0, 1, 8192, 3},  {1, 1, 5456, 5},   {9, 1, 3634, 8},
                        {0, 16, 512, 63}, {63, 3, 30622, 0}, {9, 255, 14, 2298}};
  for (const Case& c : cases) {
    EncoderQuantTable table;
    table.values.fill(c.q);
    QuantiserTable quantiser;
    BuildQuantiser(table, quantiser);
    EXPECT_EQ(quantiser.quant_reciprocal[c.n], c.reciprocal) << c.n;
    EXPECT_EQ(quantiser.quant_correction[c.n], c.correction) << c.n;
  }
  for (int scale = 0; scale <= 5000; ++scale) {
    for (int t = 0; t < 2; ++t) {
      QuantiserTable quantiser;
      BuildQuantiser({TableFromScale(scale, t)}, quantiser);
      for (const uint16_t r : quantiser.quant_reciprocal) ASSERT_LT(r, 32768) << scale;
    }
  }
}

// All four lanes hold the same block; luma lanes are quantised with `luma`, chroma ones with
// `chroma`. The least values keep the reciprocals in range.
McuCoefficients Transform(const std::function<int(int, int)>& sample, int luma, int chroma) {
  std::array<QuantiserTable, 2> quantisers;
  for (int t = 0; t < 2; ++t) {
    EncoderQuantTable table;
    table.values.fill(static_cast<uint8_t>(t == 0 ? luma : chroma));
    for (const int n : {55, 62}) table.values[n] = std::max<uint8_t>(table.values[n], 2);
    table.values[63] = std::max<uint8_t>(table.values[63], 3);
    BuildQuantiser(table, quantisers[t]);
  }
  uint8_t samples[kMcuSampleBytes];
  for (int i = 0; i < kMcuSampleBytes; ++i) {
    samples[i] = static_cast<uint8_t>(sample(i / 32, i / 4 % 8));
  }
  McuCoefficients coefficients;
  ForwardTransformMcu(samples, quantisers, coefficients);
  return coefficients;
}

using Sparse = std::map<int, int>;  // zig-zag position to value

Sparse NonZero(const McuCoefficients& coefficients, int lane) {
  Sparse found;
  for (int k = 0; k < 64; ++k) {
    if (coefficients.blocks[lane][k] != 0) found[k] = coefficients.blocks[lane][k];
  }
  return found;
}

TEST(ForwardDct, WorkedBlocks) {
  const auto slope = [](int row, int column) { return 16 * column + 8 * row; };
  const auto flat = [](int level) { return [level](int, int) { return level; }; };
  struct Case {
    const char* name;
    std::function<int(int, int)> sample;
    int quantiser;
    Sparse wanted;
  };
  const Case cases[] = {
      {"slope", slope, 16, {{0, -22}, {1, -18}, {2, -9}, {6, -2}, {9, -1}, {15, -1}}},
      {"grey", flat(128), 3, {}},
      {"grey, bias", flat(128), 2, {{28, 1}}},
      {"grey, bias", flat(128), 1, {{1, 1}, {28, 1}}},
      {"black", flat(0), 1, {{0, -1024}, {1, 1}, {28, 1}}},
      {"white", flat(255), 2, {{0, 508}, {28, 1}}},
      {"white", flat(255), 3, {{0, 339}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << " by " << c.quantiser);
    for (const int other : {c.quantiser, 40}) {  // another table for chroma leaves luma alone
      const McuCoefficients luma = Transform(c.sample, c.quantiser, other);
      const McuCoefficients chroma = Transform(c.sample, other, c.quantiser);
      for (int lane = 0; lane < 2; ++lane) {
        EXPECT_EQ(NonZero(luma, lane), c.wanted) << "lane " << lane;
        EXPECT_EQ(NonZero(chroma, lane + 2), c.wanted) << "lane " << lane + 2;
      }
    }
  }
}

TEST(ForwardDct, BoundsOfExtremeBlocks) {
  for (int pattern = 0; pattern < 512; ++pattern) {
    const auto sample = [pattern](int row, int column) {
      return ((row ^ (column * 3)) * pattern >> 2 & 1) * 255;
    };
    const McuCoefficients coefficients = Transform(sample, 1, 1);
    for (int k = 0; k < 64; ++k) {
      const int value = coefficients.blocks[0][k];
      ASSERT_TRUE(k == 0 ? value >= -1024 && value <= 1016 : std::abs(value) <= 2047) << k;
    }
  }
}

TEST(InputConversion, MissingPixelsRepeatTheLast) {
  struct Case {
    PixelFormatCode format;
    int pixels;
    Bytes line, last, rest;  // the last pair with a real pixel, and every pair behind it
  };
  const Case cases[] = {
      {PixelFormatCode::kYuyv, 2, {1, 2, 3, 4}, {1, 2, 3, 4}, {3, 2, 3, 4}},
      {PixelFormatCode::kYuyv, 1, {1, 2}, {1, 2, 1, 128}, {1, 2, 1, 128}},
      {PixelFormatCode::kUyvy, 1, {1, 2}, {1, 2, 128, 2}, {1, 2, 128, 2}},
      {PixelFormatCode::kVyuy, 2, {1, 2, 3, 4}, {1, 2, 3, 4}, {1, 4, 3, 4}},
      {PixelFormatCode::kBgr24, 1, {1, 2, 3}, {1, 2, 3, 1, 2, 3}, {1, 2, 3, 1, 2, 3}},
      {PixelFormatCode::kRgb555, 1, {1, 2}, {1, 2, 1, 2}, {1, 2, 1, 2}},
  };
  for (const Case& c : cases) {
    const GuardedBuffer line(c.line);
    uint8_t padded[64];
    PadLine(line.data(), c.pixels, c.format, padded);
    Bytes wanted = c.last;
    for (int i = 0; i < 7; ++i) wanted.insert(wanted.end(), c.rest.begin(), c.rest.end());
    EXPECT_EQ(Bytes(padded, padded + wanted.size()), wanted);
  }
}

TEST(RateControl, Formulas) {
  const int initial[][3] = {{480, 60000, 15}, {480, 0, 256}, {8, 2000000000, 1}, {-5, 100, 1}};
  for (const auto& [height, target, scale] : initial) {
    EXPECT_EQ(InitialRateScale(height, target), scale);
  }
  const int64_t next[][4] = {{90000, 60000, 15, 21},
                             {60000, 60000, 15, 15},
                             {100, 1, 1, 60},
                             {1, 0, 3, 9},
                             {4000000000, 1, 256, 256},
                             {0, 1000, 1, 1},
                             {2000000000, 2000000000, 256, 256}};
  for (const auto& [size, target, scale, wanted] : next) {
    EXPECT_EQ(NextRateScale(size, static_cast<int32_t>(target), static_cast<int32_t>(scale)),
              wanted);
  }
  const std::pair<int, int> scales[] = {{1, 0}, {2, 0}, {15, 14}, {16, 16}, {31, 60}, {256, 4096}};
  for (const auto& [rate, table] : scales) EXPECT_EQ(TableScale(rate), table);
  const int64_t targets[][4] = {{0, 1001, 1063, 751}, {1, 500, 531, 375}};
  for (const auto& [half, target, ceiling, floor] : targets) {
    const RateTarget made = MakeRateTarget(1001, half != 0);
    EXPECT_EQ(made.image_target, target);
    EXPECT_EQ(made.size_ceiling, ceiling);
    EXPECT_EQ(made.size_floor, floor);
  }
  EXPECT_EQ(MakeRateTarget(-9, false).size_ceiling, 0);
  EXPECT_EQ(MakeRateTarget(2147483647, false).size_ceiling, 2147483647LL + 134217727);
}

TEST(HuffmanCoder, BlocksToBytes) {
  struct Case {
    const char* name;
    Sparse block;
    int prediction;
    bool chroma;
    std::string wanted;  // the last byte filled up with 1 bits
  };
  Sparse full;
  for (int k = 1; k < 64; ++k) full[k] = 1;
  const Case cases[] = {
      {"zero luma", {}, 0, false, "2B"},               // 00 1010
      {"zero chroma", {}, 0, true, "0F"},              // 00 00
      {"DC difference 1", {{0, 5}}, 4, false, "5A"},   // 010 1 1010
      {"DC difference -1", {{0, 3}}, 4, false, "4A"},  // 010 0 1010
      {"largest DC step down", {{0, -1024}}, 1016, false, "FF00007A"},
      {"run 14 behind three ZRL", {{63, 1}}, 0, false, "3FCFF9FF003FFD7F"},
      {"sixteen zeros", {{17, -1}}, 0, false, "3FC8AF"},
      {"no zero, no EOB", full, 0, false, "092492492492492492492492492492492492492492492493"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    int16_t block[64] = {};
    for (const auto& [k, value] : c.block) block[k] = static_cast<int16_t>(value);
    uint8_t bytes[64];
    EntropyOutput output;
    output.output_start = bytes;
    output.output_capacity = sizeof bytes;
    EncodeBlock(output, block, c.prediction, c.chroma ? kDcChromaCodes : kDcLumaCodes,
                c.chroma ? kAcChromaCodes : kAcLumaCodes);
    FlushBits(output);
    EXPECT_EQ(Hex(bytes, output.output_position), c.wanted);
  }
}

TEST(HuffmanCoder, RestartsFallAnywhereInTheRows) {
  struct Case {
    uint32_t interval;
    std::string wanted;
  };
  // Two rows of two grey MCUs, each 20 bits: 28 A0 0 and four bits of the next or of fill.
  const Case cases[] = {
      {0, "28A0028A0028A0028A00"},
      {1, "28A00FFFD028A00FFFD128A00FFFD228A00F"},
      {3, "28A0028A0028A00FFFD028A00F"},
      {4, "28A0028A0028A0028A00"},
  };
  const Bytes line(64, 128);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.interval);
    Bytes bytes(100);
    EncoderContext context;
    context.kernels = &EncoderKernelsOf(CpuRung::kPlain);
    context.pixel_format = PixelFormatCode::kYuyv;
    context.width = 32;
    context.mcus_per_row = 2;
    context.restart_interval = context.restarts_to_go = c.interval;
    context.output.output_start = bytes.data();
    context.output.output_capacity = static_cast<uint32_t>(bytes.size());
    BuildQuantTablesFromQuality(context, 50);
    for (int t = 0; t < 2; ++t) BuildQuantiser(context.quant_tables[t], context.quantisers[t]);
    std::array<const uint8_t*, 8> rows;
    rows.fill(line.data());
    EncodeMcuRow(context, rows);
    EncodeMcuRow(context, rows);
    FlushBits(context.output);
    EXPECT_EQ(Hex(bytes.data(), context.output.output_position), c.wanted);
  }
}

TEST(Sizes, EdgesOfTheRange) {
  constexpr int kFields = TKMJPG_C_FIELDS;
  // Width, height, flags, and the coded width and height; -1 where it does not fit.
  const int cases[][5] = {{0, 16, 0, 0, 16},
                          {16, 0, 0, 16, 0},
                          {-1, 16, kFields, 0, 8},
                          {16, -9, kFields, 16, 0},
                          {16, 1, kFields, 16, 0},
                          {16, 5, 0, 16, 8},
                          {65535, 8, 0, 65535, 8},
                          {65536, 8, 0, -1, 0},
                          {1, 65528, 0, 1, 65528},
                          {1, 65529, 0, -1, 0},
                          {1, 65535, kFields, 1, 32768},
                          {1, 65536, kFields, -1, 0},
                          {2147483647, 2147483647, 0, -1, 0}};
  const Bytes line(65535 * 2, 128);
  Bytes output(1 << 20);
  for (const auto& [width, height, flags, coded_width, coded_height] : cases) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    CodecCarryState carry = {256, 12};
    const uint32_t size =
        CompressBuffer_MJPG(line.data(), 0, output.data(), 1 << 20, width, height, 50,
                            static_cast<uint32_t>(flags), TKMJPG_YUY2, 0, &carry);
    EXPECT_EQ(size != 0, coded_width >= 0);
    EXPECT_EQ(carry.rate_scale, 12U);
    if (size == 0) continue;
    const uint8_t* sof = &output[FindMarker(output, kSof0)];
    EXPECT_EQ(sof[5] << 8 | sof[6], coded_height);
    EXPECT_EQ(sof[7] << 8 | sof[8], coded_width);
  }
}

}  // namespace
