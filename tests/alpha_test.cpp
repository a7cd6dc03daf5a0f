// The alpha segment: its bytes, its way back, and what is left when it is damaged.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "alpha/alpha_plane.h"
#include "tests/frame_calls.h"

namespace {

using namespace tkmjpg;

// `alphas` as the fourth bytes of pixels whose other bytes are 0x5A.
Bytes Pixels(const Bytes& alphas) {
  Bytes pixels(alphas.size() * 4, 0x5A);
  for (size_t i = 0; i < alphas.size(); ++i) pixels[4 * i + 3] = alphas[i];
  return pixels;
}

Bytes Encode(const Bytes& alphas, int width) {
  const Bytes pixels = Pixels(alphas);
  Bytes segment(64 + alphas.size() * 2);
  const int height = width == 0 ? 0 : static_cast<int>(alphas.size()) / width;
  segment.resize(EncodeAlphaPlane(segment.data(), static_cast<uint32_t>(segment.size()),
                                  pixels.data(), width * 4, width, height));
  return segment;
}

// The alpha bytes of `width` pixels that held 0xEE; `taken` is how many bytes were read.
Bytes Decode(const Bytes& data, int width, size_t& taken) {
  const GuardedBuffer input(data);
  Bytes pixels = Pixels(Bytes(static_cast<size_t>(width), 0xEE));
  taken = static_cast<size_t>(DecodeAlphaPlane(input.data(), static_cast<uint32_t>(data.size()),
                                               pixels.data(), width * 4, width, 1) -
                              input.data());
  Bytes alphas(static_cast<size_t>(width));
  for (size_t i = 0; i < alphas.size(); ++i) {
    alphas[i] = pixels[4 * i + 3];
    EXPECT_TRUE(pixels[4 * i] == 0x5A && pixels[4 * i + 1] == 0x5A && pixels[4 * i + 2] == 0x5A);
  }
  return alphas;
}

const Bytes kHead = {0xFF, 0xE1, 0x00, 0x08, 'A', 'L', 'P', 'H', 0x01, 0x00};

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes Ramp(int count) {
  Bytes bytes(static_cast<size_t>(count));
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

TEST(Alpha, PayloadBytes) {
  struct Case {
    const char* name;
    Bytes alphas, payload;
  };
  const Case cases[] = {
      {"no pixels", {}, {}},
      {"every kind of code", {1, 2, 3, 2, 2, 2, 100}, {0x01, 0xC6, 0x62}},
      {"one zero", {0}, {0xC0}},
      {"255 is one step down", {255}, {0x40}},
      {"a literal", {2}, {0x80, 0x80}},
      {"eight zeros, short run", Bytes(8, 0), {0xDC}},
      {"nine zeros, long run", Bytes(9, 0), {0xE0, 0x10}},
      {"longest run", Bytes(4096, 0), {0xFF, 0xFE}},
      {"one more", Bytes(4097, 0), {0xFF, 0xFF, 0x80}},
      {"wraps both ways", {255, 0, 255}, {0x44}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const int width = static_cast<int>(c.alphas.size());
    EXPECT_EQ(Encode(c.alphas, width), kHead + c.payload);
    size_t taken = 0;
    if (width == 0) continue;
    EXPECT_EQ(Decode(kHead + c.payload + Bytes{0x12, 0x34}, width, taken), c.alphas);
    EXPECT_EQ(taken, kHead.size() + c.payload.size()) << "bytes behind the last pixel are left";
  }
}

TEST(Alpha, RowsAreOneSequence) {
  Bytes alphas = Noise(63 * 65, 5);
  std::fill(alphas.begin() + 100, alphas.begin() + 300, uint8_t{9});  // a run over row ends
  const Bytes segment = Encode(alphas, 65);
  EXPECT_EQ(segment, Encode(alphas, 65 * 63));
  size_t taken = 0;
  EXPECT_EQ(Decode(segment, 65 * 63, taken), alphas);
  // Upside down: the same rows through a negative stride.
  Bytes pixels(alphas.size() * 4, 0);
  DecodeAlphaPlane(segment.data(), static_cast<uint32_t>(segment.size()), &pixels[65 * 4 * 62],
                   -65 * 4, 65, 63);
  for (size_t i = 0; i < alphas.size(); ++i) {
    ASSERT_EQ(pixels[4 * ((62 - i / 65) * 65 + i % 65) + 3], alphas[i]) << i;
  }
}

TEST(Alpha, Search) {
  struct Case {
    const char* name;
    Bytes data;
    bool found;
  };
  const Bytes code = {0x00};  // four steps up
  Bytes version = kHead, length = kHead;
  version[8] = 2;
  length[3] = 10;
  const Case cases[] = {
      {"at once", kHead + code, true},
      {"behind fill", Bytes(9, 0xFF) + kHead + code, true},
      {"behind other bytes and markers", Bytes{0x11, 0xFF, 0xD9, 0xFF, 0x00} + kHead + code, true},
      {"FF E1 inside a marker pair", Bytes{0xFF, 0xD8, 0xE1} + kHead + code, true},
      {"another version", version + code, false},
      {"another length", length + code, false},
      {"another APP1 first", Bytes{0xFF, 0xE1, 0, 2} + kHead + code, false},
      {"head cut", Bytes(kHead.begin(), kHead.end() - 1), false},
      {"marker cut", {0xFF}, false},
      {"nothing", {}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    size_t taken = 99;
    EXPECT_EQ(Decode(c.data, 4, taken), c.found ? Ramp(4) : Bytes(4, 0xEE));
    EXPECT_EQ(taken, c.found ? c.data.size() : 0);
  }
}

TEST(Alpha, CutPayloadKeepsThePixelsSoFar) {
  Bytes alphas = Noise(300, 8);
  std::replace(alphas.begin(), alphas.end(), uint8_t{0xEE}, uint8_t{0xED});
  std::fill(alphas.begin() + 50, alphas.begin() + 80, uint8_t{7});
  const Bytes segment = Encode(alphas, 300);
  int done_before = 0;
  for (size_t size = kHead.size(); size < segment.size(); ++size) {
    size_t taken = 0;
    const Bytes cut =
        Decode(Bytes(segment.begin(), segment.begin() + static_cast<int>(size)), 300, taken);
    EXPECT_EQ(taken, size);
    int done = 0;
    while (done < 300 && cut[done] == alphas[done]) ++done;
    EXPECT_GE(done, done_before);
    for (int i = done; i < 300; ++i) {
      ASSERT_EQ(cut[i], 0xEE) << "cut at " << size << ", pixel " << i;
    }
    done_before = done;
  }
  EXPECT_GT(done_before, 290);
  // Runs are read in either form: 11 1 000000000000 and 11 0 000, one pixel each, and two steps.
  size_t taken = 0;
  EXPECT_EQ(Decode(kHead + Bytes{0xE0, 0x01, 0x80, 0x00}, 4, taken), (Bytes{0, 0, 1, 2}));
}

TEST(Alpha, NoPixelsNoAlpha) {
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-3, 5}, {5, -3}}) {
    Bytes segment(20);
    EXPECT_EQ(EncodeAlphaPlane(segment.data(), 20, nullptr, 0, width, height), 10U);
    EXPECT_EQ(EncodeAlphaPlane(segment.data(), 9, nullptr, 0, width, height), 0U);
    const Bytes data = kHead + Bytes{0x00};
    DecodeAlphaPlane(data.data(), 11, nullptr, 0, width, height);  // must write nothing
  }
}

}  // namespace
