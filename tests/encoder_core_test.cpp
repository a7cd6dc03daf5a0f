// The encoder's steps where whole frames do not show them: at their limits, and with restarts.
#include <gtest/gtest.h>

#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "encoder/forward_dct.h"
#include "encoder/input_conversion.h"
#include "encoder/mcu_row.h"
#include "encoder/quant_tables.h"
#include "encoder/rate_control.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

TEST(QuantTables, QuantisersOfEveryScaleStayInSixteenSignedBits) {
  for (const auto& [quality, scale] :
       {std::pair{101, 0}, {100, 0}, {50, 100}, {49, 102}, {1, 5000}, {0, 5000}, {-7, 5000}}) {
    EXPECT_EQ(ScaleFromQuality(quality), scale);
  }
  EncoderContext context;
  for (int scale = 0; scale <= 5000; ++scale) {
    BuildQuantTablesFromScale(context, scale);
    for (const EncoderQuantTable& table : context.quant_tables) {
      QuantiserTable quantiser;
      BuildQuantiser(table, quantiser);
      for (const uint16_t r : quantiser.quant_reciprocal) ASSERT_LT(r, 32768) << scale;
    }
  }
}

TEST(InputConversion, MissingPixelsRepeatTheLast) {
  const struct {
    PixelCode format;
    int pixels;
    Bytes line, last, rest;  // the last pair with a real pixel, and every pair after it
  } cases[] = {
      {PixelCode::kYuyv, 1, {1, 2}, {1, 2, 1, 128}, {1, 2, 1, 128}},
      {PixelCode::kUyvy, 1, {1, 2}, {1, 2, 128, 2}, {1, 2, 128, 2}},
      {PixelCode::kVyuy, 2, {1, 2, 3, 4}, {1, 2, 3, 4}, {1, 4, 3, 4}},
      {PixelCode::kBgr24, 1, {1, 2, 3}, {1, 2, 3, 1, 2, 3}, {1, 2, 3, 1, 2, 3}},
      {PixelCode::kRgb555, 1, {1, 2}, {1, 2, 1, 2}, {1, 2, 1, 2}},
  };
  for (const auto& c : cases) {
    const GuardedBuffer line(c.line);
    uint8_t padded[64];
    PadLine(line.data(), c.pixels, c.format, padded);
    Bytes wanted = c.last;
    for (int i = 0; i < 7; ++i) wanted = wanted + c.rest;
    EXPECT_EQ(Bytes(padded, padded + wanted.size()), wanted);
  }
}

TEST(RateControl, LimitsOfTheFormulas) {
  EXPECT_EQ(InitialRateScale(8, 2000000000), 1);
  EXPECT_EQ(InitialRateScale(480, 0), 256);
  const int64_t next[][4] = {{100, 1, 1, 60},
                             {1, 0, 3, 9},
                             {4000000000, 1, 256, 256},
                             {4000000000, 1, INT32_MAX, 256},  // a record may hold any scale
                             {1, INT32_MAX, INT32_MAX, 256},
                             {0, 1000, 1, 1},
                             {2000000000, 2000000000, 256, 256}};
  for (const auto& [size, target, scale, wanted] : next) {
    EXPECT_EQ(NextRateScale(size, target, static_cast<int32_t>(scale)), wanted);
  }
  const int64_t targets[][5] = {{1001, 0, 1001, 1063, 751},
                                {1001, 1, 500, 531, 375},
                                {-9, 0, 0, 0, 0},
                                {2147483647, 0, 2147483647, 2281701374, 1610612736}};
  for (const auto& [frame, half, target, ceiling, floor] : targets) {
    const RateTarget made = MakeRateTarget(static_cast<int32_t>(frame), half != 0);
    EXPECT_EQ(made.image_target, target);
    EXPECT_EQ(made.size_ceiling, ceiling);
    EXPECT_EQ(made.size_floor, floor);
  }
}

TEST(HuffmanCoder, RestartsFallAnywhereInTheRows) {
  // Two rows of two grey MCUs, each 20 bits: 28 A0 0 and four bits of the next or of fill.
  const Bytes two = {0x28, 0xA0, 0x02, 0x8A, 0x00}, one = {0x28, 0xA0, 0x0F};
  const auto restart = [](uint8_t n) { return Bytes{0xFF, static_cast<uint8_t>(0xD0 + n)}; };
  const std::pair<uint32_t, Bytes> cases[] = {
      {0, two + two},
      {1, one + restart(0) + one + restart(1) + one + restart(2) + one},
      {3, two + one + restart(0) + one},
      {4, two + two},
  };
  const Bytes line(64, 128);
  for (const auto& [interval, wanted] : cases) {
    Bytes bytes(100);
    EncoderContext context;
    context.pixel_format = PixelCode::kYuyv;
    context.width = 32;
    context.mcus_per_row = 2;
    context.restart_interval = context.restarts_to_go = interval;
    context.output = {bytes.data(), 100};
    BuildQuantTablesFromQuality(context, 50);
    for (int t = 0; t < 2; ++t) BuildQuantiser(context.quant_tables[t], context.quantisers[t]);
    std::array<const uint8_t*, 8> rows;
    rows.fill(line.data());
    EncodeMcuRow(context, rows);
    EncodeMcuRow(context, rows);
    FlushBits(context.output);
    const auto size = static_cast<size_t>(context.output.output_position);
    EXPECT_EQ(Head(bytes, size), wanted) << interval;
  }
}

TEST(Sizes, EdgesOfTheRange) {
  constexpr int kFields = TKMJPG_C_FIELDS;
  // Width, height, flags, and the coded width and height; -1 where it does not fit.
  const int cases[][5] = {{0, 16, 0, 0, 16},          {16, 0, 0, 16, 0},
                          {-1, 16, kFields, 0, 8},    {16, -9, kFields, 16, 0},
                          {16, 1, kFields, 16, 0},    {65535, 8, 0, 65535, 8},
                          {65536, 8, 0, -1, 0},       {1, 65528, 0, 1, 65528},
                          {1, 65529, 0, -1, 0},       {1, 65535, kFields, 1, 32768},
                          {1, 65536, kFields, -1, 0}, {2147483647, 2147483647, 0, -1, 0}};
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
