// The alpha segment: its bytes, its way back, and what is left when it is damaged.
#include <gtest/gtest.h>

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

Bytes Encode(const Bytes& alphas) {
  const int width = static_cast<int>(alphas.size());
  Bytes segment(64 + alphas.size() * 2);
  segment.resize(EncodeAlphaPlane(segment.data(), static_cast<uint32_t>(segment.size()),
                                  Pixels(alphas).data(), width * 4, width, 1));
  return segment;
}

// The alpha bytes of `count` pixels that held 0xEE; `taken` is how many bytes were read.
Bytes Decode(const Bytes& data, size_t count, size_t& taken) {
  const GuardedBuffer input(data);
  Bytes pixels = Pixels(Bytes(count, 0xEE)), alphas;
  const int width = static_cast<int>(count);
  taken = DecodeAlphaPlane(input.data(), static_cast<uint32_t>(data.size()), pixels.data(),
                           width * 4, width, 1) -
          input.data();
  for (size_t i = 3; i < pixels.size(); i += 4) alphas.push_back(pixels[i]);
  EXPECT_EQ(pixels, Pixels(alphas)) << "colours stay";
  return alphas;
}

const Bytes kHead = {0xFF, 0xE1, 0x00, 0x08, 'A', 'L', 'P', 'H', 0x01, 0x00};

TEST(Alpha, PayloadBytes) {
  const struct {
    const char* name;
    Bytes alphas, payload;
  } cases[] = {
      {"every kind of code", {1, 2, 3, 2, 2, 2, 100}, {0x01, 0xC6, 0x62}},
      {"one zero", {0}, {0xC0}},
      {"255 is one step down", {255}, {0x40}},
      {"eight zeros, short run", Bytes(8, 0), {0xDC}},
      {"nine zeros, long run", Bytes(9, 0), {0xE0, 0x10}},
      {"longest run", Bytes(4096, 0), {0xFF, 0xFE}},
      {"one more", Bytes(4097, 0), {0xFF, 0xFF, 0x80}},
      {"wraps both ways", {255, 0, 255}, {0x44}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Encode(c.alphas), kHead + c.payload);
    size_t taken = 0;
    EXPECT_EQ(Decode(kHead + c.payload + Bytes{0x12, 0x34}, c.alphas.size(), taken), c.alphas);
    EXPECT_EQ(taken, kHead.size() + c.payload.size()) << "bytes after the last pixel are left";
  }
  // Runs are read in either form: 11 1 000000000000 and 11 0 000, one pixel each, and two steps.
  size_t taken = 0;
  EXPECT_EQ(Decode(kHead + Bytes{0xE0, 0x01, 0x80, 0x00}, 4, taken), (Bytes{0, 0, 1, 2}));
}

TEST(Alpha, Search) {
  const Bytes code = {0x00};  // four steps up
  const std::tuple<const char*, Bytes, bool> cases[] = {
      {"at once", kHead + code, true},
      {"after fill", Bytes(9, 0xFF) + kHead + code, true},
      {"after other bytes and markers", Bytes{0x11, 0xFF, 0xD9, 0xFF, 0x00} + kHead + code, true},
      {"FF E1 inside a marker pair", Bytes{0xFF, 0xD8, 0xE1} + kHead + code, true},
      {"another version", Set(kHead, 8, {2}) + code, false},
      {"another length", Set(kHead, 3, {10}) + code, false},
      {"another APP1 first", Bytes{0xFF, 0xE1, 0, 2} + kHead + code, false},
      {"head cut", Head(kHead, kHead.size() - 1), false},
      {"marker cut", {0xFF}, false},
      {"nothing", {}, false},
  };
  for (const auto& [name, data, found] : cases) {
    SCOPED_TRACE(name);
    size_t taken = 99;
    EXPECT_EQ(Decode(data, 4, taken), found ? (Bytes{1, 2, 3, 4}) : Bytes(4, 0xEE));
    EXPECT_EQ(taken, found ? data.size() : 0);
  }
}

TEST(Alpha, CutPayloadKeepsThePixelsSoFar) {
  Bytes alphas = Noise(300, 8);
  std::replace(alphas.begin(), alphas.end(), uint8_t{0xEE}, uint8_t{0xED});
  std::fill(alphas.begin() + 50, alphas.begin() + 80, uint8_t{7});
  const Bytes segment = Encode(alphas);
  size_t done_before = 0;
  for (size_t size = kHead.size(); size < segment.size(); ++size) {
    size_t taken = 0;
    const Bytes cut = Decode(Head(segment, size), 300, taken);
    EXPECT_EQ(taken, size);
    const size_t done = std::mismatch(cut.begin(), cut.end(), alphas.begin()).first - cut.begin();
    EXPECT_GE(done, done_before);
    ASSERT_EQ(Slice(cut, done, 300), Bytes(300 - done, 0xEE)) << "cut at " << size;
    done_before = done;
  }
  EXPECT_GT(done_before, 290U);
}

TEST(Alpha, NoPixelsNoAlpha) {
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-3, 5}, {5, -3}}) {
    Bytes segment(20);
    EXPECT_EQ(EncodeAlphaPlane(segment.data(), 20, nullptr, -4, width, height), 10U);
    EXPECT_EQ(EncodeAlphaPlane(segment.data(), 9, nullptr, -4, width, height), 0U);
    const Bytes data = kHead + Bytes{0x00};
    DecodeAlphaPlane(data.data(), 11, nullptr, -4, width, height);  // must write nothing
  }
}

// Over row ends, field by field, and upside down.
TEST(Alpha, ComesBackInFrames) {
  constexpr uint32_t kFields = TKMJPG_C_FIELDS;
  Bytes pixels = Noise(34 * 22 * 4, 21);
  std::fill(pixels.begin() + 600, pixels.begin() + 1800, uint8_t{200});  // runs too
  for (const uint32_t flags :
       {0U, kFields, kFields | TKMJPG_C_SWAP_LINES, kFields | TKMJPG_C_CODE2_FIRST, kBare}) {
    Call in{kBgra, 34, 22, flags}, out{kBgra, 34, 22};
    in.stride = out.stride = (flags & TKMJPG_C_SWAP_LINES) != 0 ? -34 * 4 : 34 * 4;
    const Bytes plain = Compress(pixels, in);
    EXPECT_EQ(Decompress(plain, out)[3], 255);
    in.flags |= TKMJPG_C_ALPHA;
    const Bytes stream = Compress(pixels, in);
    EXPECT_EQ(Head(stream, plain.size()), plain);
    for (const uint32_t fourcc : {TKMJPG_BGRA, TKMJPG_bgra, TKMJPG_BGR4}) {
      out.layout.fourcc = fourcc;
      const Bytes back = Decompress(stream, out);
      for (size_t i = 3; i < back.size(); i += 4) {
        ASSERT_EQ(back[i], fourcc == TKMJPG_BGR4 ? 0 : pixels[i]) << flags << " at " << i;
      }
    }
  }
}

}  // namespace
