// What goes in comes out, for every layout, header style and field order: line by line where it
// belongs, and no further off than the quantisation tables allow.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "encoder/quant_tables.h"
#include "tests/frame_calls.h"

namespace {

using Pixel = std::array<int, 3>;  // Y Cb Cr, or B G R

constexpr int kWidth = 34, kHeight = 22;

bool IsPacked(const Layout& layout) { return layout.name[0] != 'B' && layout.name[0] != 'R'; }

// Byte offsets of Y, Cb, Cr of an even pixel in its pair.
std::array<int, 3> PackedOrder(const Layout& layout) {
  if (layout.fourcc == TKMJPG_VYUY) return {1, 2, 0};
  if (layout.name[0] == 'U') return {1, 0, 2};
  return {0, 1, 3};
}

void Put(const Layout& layout, uint8_t* line, int x, const Pixel& pixel) {
  const auto byte = [](int value) { return static_cast<uint8_t>(value); };
  if (IsPacked(layout)) {
    const auto order = PackedOrder(layout);
    line[2 * x + order[0] % 2] = byte(pixel[0]);
    for (int c = 1; c < 3; ++c) line[2 * (x & ~1) + order[c]] = byte(pixel[c]);
  } else if (layout.pixel_bytes == 2) {
    const int word = pixel[2] / 8 << 10 | pixel[1] / 8 << 5 | pixel[0] / 8;
    line[2 * x] = byte(word);
    line[2 * x + 1] = byte(word >> 8);
  } else {
    for (int c = 0; c < 3; ++c) line[layout.pixel_bytes * x + c] = byte(pixel[c]);
  }
}

Pixel Get(const Layout& layout, const uint8_t* line, int x) {
  if (IsPacked(layout)) {
    const auto order = PackedOrder(layout);
    const uint8_t* pair = line + 2 * (x & ~1);
    return {line[2 * x + order[0] % 2], pair[order[1]], pair[order[2]]};
  }
  if (layout.pixel_bytes == 2) {
    const int word = line[2 * x] | line[2 * x + 1] << 8;
    return {(word & 31) * 8, (word >> 5 & 31) * 8, (word >> 10) * 8};
  }
  const uint8_t* pixel = line + layout.pixel_bytes * x;
  return {pixel[0], pixel[1], pixel[2]};
}

// The two fields are far apart, so that no exchanged line goes unseen; both pixels of a pair are
// alike, so that halved chroma loses nothing.
Pixel Source(int x, int y) {
  const int pair = x / 2;
  return {60 + pair + (y % 2 != 0 ? 90 : 0), 100 + pair * 2 + y, 150 - pair - y};
}

struct Route {
  Layout in, out;
  double luma_gain, chroma_gain, rounding;  // how the loss of Y and of Cb, Cr reaches a component
};

const Route kRoutes[] = {
    {{"YUY2", TKMJPG_YUY2, 2}, {"YuYv", TKMJPG_YuYv, 2}, 1, 1, 1},
    {{"UyVy", TKMJPG_UyVy, 2}, {"UYVY", TKMJPG_UYVY, 2}, 1, 1, 1},
    {{"VYUY", TKMJPG_VYUY, 2}, {"YUY2", TKMJPG_YUY2, 2}, 1, 1, 1},
    {{"BGR3", TKMJPG_BGR3, 3}, {"BGR4", TKMJPG_BGR4, 4}, 1.17, 2.1, 2},
    {{"BGRA", TKMJPG_BGRA, 4}, {"BGR3", TKMJPG_BGR3, 3}, 1.17, 2.1, 2},
    {{"R555", TKMJPG_R555, 2}, {"R555", TKMJPG_R555, 2}, 1, 1.8, 6},
};

struct FieldOrder {
  const char* name;
  uint32_t compress;
  uint32_t decompress;           // with AVI1 headers
  uint32_t decompress_untagged;  // with JFIF headers, which name no field
};

constexpr uint32_t kFields = TKMJPG_C_FIELDS;
const FieldOrder kFieldOrders[] = {
    {"one image", 0, 0, 0},
    {"odd lines first", kFields, 0, 0},
    {"even lines first", kFields | TKMJPG_C_SWAP_LINES, TKMJPG_D_INVERT_FIELDS,
     TKMJPG_D_INVERT_FIELDS},
    {"code 2 first", kFields | TKMJPG_C_CODE2_FIRST, TKMJPG_D_USE_AVI1_MARKERS,
     TKMJPG_D_INVERT_FIELDS},
    {"code 2 first, odd lines", kFields | TKMJPG_C_SWAP_LINES | TKMJPG_C_CODE2_FIRST,
     TKMJPG_D_USE_AVI1_MARKERS | TKMJPG_D_INVERT_FIELDS, 0},
};

// The mean square error that rounding to the tables can make (Parseval), spread over the pixels
// that are seen when all of it falls on them.
double LargestLoss(int quality, int table) {
  tkmjpg::EncoderContext context;
  tkmjpg::BuildQuantTablesFromQuality(context, quality);
  double sum = 0;
  for (const uint8_t q : context.quant_tables[table].values) sum += q * q / 4.0;
  return std::sqrt(sum / 64 * (48.0 * 32) / (kWidth * kHeight));
}

Bytes SourcePicture(const Layout& layout) {
  Bytes pixels(static_cast<size_t>(kWidth * kHeight * layout.pixel_bytes), 0x33);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      Put(layout, &pixels[y * kWidth * layout.pixel_bytes], x, Source(x, y));
    }
  }
  return pixels;
}

void ExpectClose(const Route& route, const Bytes& pixels, int quality) {
  std::array<double, 3> sum{};
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const Pixel got = Get(route.out, &pixels[y * kWidth * route.out.pixel_bytes], x);
      for (int c = 0; c < 3; ++c) sum[c] += std::pow(got[c] - Source(x, y)[c], 2);
    }
  }
  const double luma = LargestLoss(quality, 0) * route.luma_gain;
  const double chroma = LargestLoss(quality, 1) * route.chroma_gain;
  for (int c = 0; c < 3; ++c) {
    const double allowed = IsPacked(route.in) ? (c == 0 ? luma : chroma) : luma + chroma;
    EXPECT_LE(std::sqrt(sum[c] / (kHeight * kWidth)), allowed + route.rounding)
        << "component " << c;
  }
}

TEST(RoundTrip, EveryLayoutStyleAndFieldOrder) {
  for (const Route& route : kRoutes) {
    for (const uint32_t mode : {0U, 1U, 2U, 3U, 5U, 7U}) {
      for (const FieldOrder& order : kFieldOrders) {
        for (const int quality : {100, 75}) {
          SCOPED_TRACE(testing::Message() << route.in.name << " to " << route.out.name << ", mode "
                                          << mode << ", " << order.name << ", " << quality);
          const Bytes stream = Compress(
              SourcePicture(route.in),
              {route.in, kWidth, kHeight, order.compress | mode << TKMJPG_C_MODE_SHIFT, quality});
          const uint32_t flags = mode >= 5 ? order.decompress_untagged : order.decompress;
          const Bytes blank(static_cast<size_t>(kWidth * kHeight * route.out.pixel_bytes));
          ExpectClose(route, Decompress(stream, {route.out, kWidth, kHeight, flags}, blank),
                      quality);
        }
      }
    }
  }
}

TEST(RoundTrip, AlphaComesBackExactly) {
  const Layout bgra = {"BGRA", TKMJPG_BGRA, 4};
  Bytes pixels = Noise(kWidth * kHeight * 4, 21);
  std::fill(pixels.begin() + 600, pixels.begin() + 1800, uint8_t{200});  // runs too
  const Bytes blank(pixels.size(), 1);
  for (const FieldOrder& order : kFieldOrders) {
    for (const uint32_t mode : {0U, 5U}) {
      const uint32_t flags = order.compress | mode << TKMJPG_C_MODE_SHIFT | TKMJPG_C_ALPHA;
      const Bytes stream = Compress(pixels, {bgra, kWidth, kHeight, flags});
      for (const uint32_t fourcc : {TKMJPG_BGRA, TKMJPG_bgra, TKMJPG_BGR4}) {
        const Bytes out =
            Decompress(stream, {{"", fourcc, 4}, kWidth, kHeight, order.decompress}, blank);
        for (size_t i = 3; i < out.size(); i += 4) {
          ASSERT_EQ(out[i], fourcc == TKMJPG_BGR4 ? 0 : pixels[i]) << order.name << " at " << i;
        }
      }
      const Bytes plain = Compress(pixels, {bgra, kWidth, kHeight, flags & ~TKMJPG_C_ALPHA});
      EXPECT_EQ(Bytes(stream.begin(), stream.begin() + static_cast<int>(plain.size())), plain);
      EXPECT_EQ(Decompress(plain, {bgra, kWidth, kHeight}, blank)[3], 255);
    }
  }
}

}  // namespace
