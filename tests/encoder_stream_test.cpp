// What the encoder makes of a frame's flags and target: header styles, fields and rate control.
#include <gtest/gtest.h>

#include "tests/frame_calls.h"

namespace {

constexpr uint32_t kFields = TKMJPG_C_FIELDS, kOneField = TKMJPG_C_ONE_FIELD,
                   kSwap = TKMJPG_C_SWAP_LINES, kCode2First = TKMJPG_C_CODE2_FIRST,
                   kRate = TKMJPG_C_RATE_CONTROL, kStrong = TKMJPG_C_STRONG_RATE;

TEST(Flags, NumbersOfNoHeaderStyleActAsZero) {
  const Bytes wanted = CompressNoise({kYuy2, 16, 8}, 1);
  for (const uint32_t mode : {4, 6, 8, 9, 10, 11, 12, 13, 14, 15}) {
    EXPECT_EQ(CompressNoise({kYuy2, 16, 8, Mode(mode)}, 1), wanted) << mode;
  }
}

TEST(Flags, FieldsOnlyWithFieldCoding) {
  const Call frame{kYuy2, 16, 21};
  const Bytes pixels = Noise(frame.Size(), 2);
  for (const uint32_t order : {0U, kSwap, kCode2First, kSwap | kCode2First}) {
    SCOPED_TRACE(order);
    for (const uint32_t one : {0U, kOneField}) {
      EXPECT_EQ(Compress(pixels, {kYuy2, 16, 21, one | order}), Compress(pixels, frame));
    }
    // One field alone is a picture of every other line, field code 0 included.
    Bytes lines;
    const int first = order == 0 || order == (kSwap | kCode2First) ? 1 : 0;
    for (int y = first; y < 20; y += 2) lines = lines + Slice(pixels, y * 32, y * 32 + 32);
    EXPECT_EQ(Compress(pixels, {kYuy2, 16, 21, kFields | kOneField | order}),
              Compress(lines, {kYuy2, 16, 10}));
  }
}

uint32_t Long(const Bytes& stream, size_t at) {
  return uint32_t{stream[at]} << 24 | stream[at + 1] << 16 | stream[at + 2] << 8 | stream[at + 3];
}

TEST(SizeFields, CountEachImageWithAndWithoutItsFill) {
  for (const uint32_t mode : {0, 3}) {
    const Bytes stream = CompressNoise({kYuy2, 320, 320, kFields | Mode(mode), 100}, 3);
    size_t start = 0;
    for (int image = 0; image < 2; ++image) {
      const uint32_t size = Long(stream, start + 12), data_size = Long(stream, start + 16);
      EXPECT_GT(data_size, 65535U);
      ASSERT_LE(start + size, stream.size());
      EXPECT_EQ(Slice(stream, start + data_size - 2, start + size),
                (Bytes{0xFF, 0xD9} + Bytes(size - data_size, 0xFF)));
      start += size;
    }
    EXPECT_EQ(start, stream.size());
  }
}

// The stream of a frame that starts at a scale, and the scale that it leaves.
std::pair<Bytes, uint32_t> WithScale(Call call, uint32_t scale) {
  CodecCarryState carry = {256, scale};
  call.carry = &carry;
  const Bytes stream = CompressNoise(call, 4);
  return {stream, carry.rate_scale};
}

// 2000 x height / (target + 1), of the frame's own height and each image's part of the target.
TEST(RateControl, FirstScale) {
  const struct {
    int height;
    uint32_t flags;
    int target;
    uint32_t scale;
  } cases[] = {
      {20, 0, 999, 40},         {17, 0, 999, 34},
      {20, kFields, 1999, 40},  {20, kFields | kOneField, 999, 40},
      {20, kOneField, 999, 40}, {20, kFields | kOneField | kStrong, 999, 40},
  };
  for (const auto& c : cases) {
    const Call call{kYuy2, 32, c.height, c.flags | kRate, c.target};
    EXPECT_EQ(WithScale(call, 0), WithScale(call, c.scale)) << c.height << " lines, " << c.flags;
  }
}

// An image is coded again when its size is out of range, and its limits are within.
TEST(RateControl, SizesOnTheLimitsStand) {
  Call call{kYuy2, 64, 32, kRate | kBare};
  const size_t size = WithScale(call, 100).first.size();
  int largest = 0, smallest = 0;  // the targets for which `size` is within the limits
  for (int target = 1; target < 100000; ++target) {
    const size_t ceiling = target + (target >> 4), floor = target - (target >> 2);
    if (ceiling == size && smallest == 0) smallest = target;
    if (floor == size) largest = target;
  }
  ASSERT_NE(smallest, 0);
  for (const auto& [target, stands] :
       {std::pair{smallest - 1, false}, {smallest, true}, {largest, true}, {largest + 1, false}}) {
    call.quality = target;
    call.flags = kRate | kBare;
    const Bytes once = WithScale(call, 100).first;
    call.flags |= kStrong;
    EXPECT_EQ(WithScale(call, 100).first == once, stands) << size << " for " << target;
  }
}

}  // namespace
