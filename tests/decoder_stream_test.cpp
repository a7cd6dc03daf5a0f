// What the decoder makes of a stream's structure: headers, field tags, and one image or two.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "decoder/frame_decompressor.h"
#include "tests/frame_calls.h"

namespace {

using namespace tkmjpg;

const Layout kYuYv = {"YuYv", TKMJPG_YuYv, 2};
constexpr uint32_t kBare = 5U << TKMJPG_C_MODE_SHIFT;  // JFIF: no field tag, nothing behind EOI

Bytes Image(int height, uint32_t seed) {
  return Compress(Noise(static_cast<size_t>(32 * height * 2), seed),
                  {kYuYv, 32, height, kBare, 90});
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// Where the segments of Image lie.
constexpr size_t kDqt = 20, kSof = 154, kSos = 173, kEntropy = 187;

Bytes Insert(Bytes stream, size_t at, const Bytes& bytes) {
  stream.insert(stream.begin() + static_cast<int>(at), bytes.begin(), bytes.end());
  return stream;
}
Bytes Erase(Bytes stream, size_t at, size_t count) {
  stream.erase(stream.begin() + static_cast<int>(at),
               stream.begin() + static_cast<int>(at + count));
  return stream;
}
Bytes Set(Bytes stream, size_t at, const Bytes& bytes) {
  std::copy(bytes.begin(), bytes.end(), stream.begin() + static_cast<int>(at));
  return stream;
}
Bytes Cut(const Bytes& stream, size_t size) {
  return {stream.begin(), stream.begin() + static_cast<int>(size)};
}

// Table `t` of the stream as a DQT segment that says `head` (length and Pq/Tq), 8 or 16 bits.
Bytes Dqt(const Bytes& stream, size_t t, const Bytes& head, bool wide) {
  Bytes segment = Bytes{0xFF, 0xDB} + head;
  for (size_t k = 0; k < 64; ++k) {
    if (wide) segment.push_back(0);
    segment.push_back(stream[kDqt + 5 + 65 * t + k]);
  }
  return segment;
}
Bytes WithTables(const Bytes& stream, const Bytes& tables) {
  return Insert(Erase(stream, kDqt, 134), kDqt, tables);
}

// What becomes of a stream: same or other pixels and the position behind EOI; or no pixel, and the
// position at the start, behind the headers, behind EOI, or at the end of the data.
enum Fate { kSame, kOther, kStart, kHeaders, kBehindEoi, kEnd };

TEST(StreamParser, AcceptedAndRefused) {
  const Bytes s = Image(8, 1);
  const Bytes luma = Dqt(s, 0, {0, 67, 0}, false), chroma = Dqt(s, 1, {0, 67, 1}, false);
  struct Case {
    const char* name;
    Bytes stream;
    Fate fate = kSame;
  };
  const Case cases[] = {
      {"sound", s},
      {"bytes ahead of SOI", Bytes(100, 0x77) + s},
      {"FF ahead of SOI", Bytes(3, 0xFF) + s},
      {"another marker first", Erase(s, 0, 2), kStart},
      {"no FF", Bytes(50, 0x77), kEnd},
      {"nothing", {}, kEnd},
      {"FF only", {0xFF, 0xFF}, kEnd},
      {"SOI only", {0xFF, 0xD8}, kEnd},
      {"no marker behind SOI", {0xFF, 0xD8, 1, 2}, kEnd},
      {"stuffed zero and bytes between segments", Insert(s, 2, {0xFF, 0, 0xEE, 9})},
      {"fill ahead of a marker", Insert(s, kDqt, Bytes(5, 0xFF))},
      {"a second SOI with a length", Insert(s, 2, {0xFF, 0xD8, 0, 4, 1, 1})},
      {"RST with a length", Insert(s, 2, {0xFF, 0xD0, 0, 2})},
      {"lengths of 0 and 1", Insert(s, 2, {0xFF, 0xE5, 0, 0, 0xFF, 0xE6, 0, 1})},
      {"other Huffman tables", Insert(s, 2, {0xFF, 0xC4, 0, 5, 1, 2, 3})},
      {"a length behind the end", Set(s, 22, {0xFF, 0xFF}), kEnd},
      {"a length cut in two", Cut(s, kDqt + 3), kEnd},
      {"EOI ahead of SOS", Insert(s, kSof, {0xFF, 0xD9}), kBehindEoi},
      {"EOI at the end", Cut(s, kSof) + Bytes{0xFF, 0xD9}, kEnd},

      {"a DQT for each table", WithTables(s, chroma + luma)},
      {"16-bit DQT", WithTables(s, luma + Dqt(s, 1, {0, 131, 0x11}, true))},
      {"any high nibble is 16 bits", WithTables(s, Dqt(s, 0, {0, 131, 0x50}, true) + chroma)},
      {"DQT one byte short", WithTables(s, luma + Dqt(s, 1, {0, 66, 1}, false)), kOther},
      {"Tq 4 ends its segment", Set(s, kDqt + 69, {4}), kOther},
      {"DQT behind the end", Set(s, kDqt + 2, {0x7F, 0}), kEnd},
      {"no DQT", WithTables(s, {}), kOther},

      {"identifiers 1, 2, 3", Set(Set(Set(s, kSof + 10, {1}), kSof + 13, {2}), kSof + 16, {3})},
      {"another component has the 2", Set(Set(s, kSof + 11, {0x11}), kSof + 14, {0x21})},
      {"progressive", Set(s, kSof + 1, {0xC2}), kHeaders},
      {"12 bits", Set(s, kSof + 4, {12}), kHeaders},
      {"one component", Set(s, kSof + 9, {1}), kHeaders},
      {"four components", Set(s, kSof + 9, {4}), kHeaders},
      {"4:2:0", Set(s, kSof + 11, {0x22}), kHeaders},
      {"4:4:4", Set(s, kSof + 11, {0x11}), kHeaders},
      {"4:1:1", Set(s, kSof + 11, {0x41}), kHeaders},
      {"Tq 4 of the last component", Set(s, kSof + 18, {4}), kEnd},
      {"SOF0 cut", Cut(s, kSof + 17), kEnd},

      {"SOS of 14 bytes", Insert(Set(s, kSos + 3, {14}), kEntropy, {7, 7})},
      {"SOS of 11 bytes", Set(s, kSos + 3, {11}), kEnd},
      {"selectors, tables and bounds", Set(s, kSos + 5, {9, 0x33, 8, 0, 7, 0x21, 5, 9})},
      {"Ah/Al", Set(s, kSos + 13, {1}), kEnd},
      {"one component in the scan", Set(s, kSos + 4, {1}), kHeaders},
      {"nothing behind SOS", Cut(s, kEntropy), kEnd},
      {"SOS cut", Cut(s, kEntropy - 1), kEnd},

      {"an interval without RST", WithRestartInterval(s, 1), kOther},
      {"a later DRI of 0", WithRestartInterval(WithRestartInterval(s, 0), 1)},
      {"DRI of any length", Insert(s, 2, {0xFF, 0xDD, 0, 6, 0, 2, 9, 9})},
      {"DRI cut", {0xFF, 0xD8, 0xFF, 0xDD, 0, 4, 0}, kEnd},
  };
  const Bytes blank(32 * 8 * 2, 0xA5), sound = Decompress(s, {kYuYv, 32, 8}, blank);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes stream = c.fate == kEnd ? c.stream : c.stream + Bytes{0x12, 0x34};
    const GuardedBuffer input(stream);
    Bytes pixels = blank;
    CodecCarryState carry = kNewCarryState;
    const auto stop = static_cast<size_t>(
        DecompressFrame(input.data(), static_cast<uint32_t>(input.size()), pixels.data(), 64, 32, 8,
                        0, PixelFormatCode::kYuyvFull, &carry) -
        input.data());
    EXPECT_EQ(pixels == sound, c.fate == kSame);
    EXPECT_EQ(pixels == blank, c.fate > kOther);
    const size_t eoi = FindMarker(stream, 0xD9) + 2;
    const size_t wanted[] = {eoi, eoi, 0, FindMarker(stream, 0xDA) + 14, eoi, stream.size()};
    EXPECT_EQ(stop, wanted[c.fate]);
  }
}

TEST(FieldTag, Search) {
  struct Case {
    const char* name;
    size_t size, at;
    std::string tag;
    uint8_t code;
    bool field;
  };
  const Case cases[] = {
      {"code 0", 200, 40, "AVI1", 0, false},
      {"code 1", 200, 40, "AVI1", 1, true},
      {"code 2", 200, 40, "AVI1", 2, true},
      {"other tag", 200, 40, "AVI2", 1, false},
      {"another case", 200, 40, "avi1", 1, false},
      {"last offset", 129, 122, "AVI1", 1, true},
      {"too far", 200, 123, "AVI1", 1, false},
      {"last of 128 bytes", 128, 122, "AVI1", 1, true},
      {"too far in 128 bytes", 128, 123, "AVI1", 1, false},
      {"behind AVI2", 200, 40, "AVI2.AVI1", 1, false},
      {"behind SWC1", 200, 40, "SWC1.AVI1", 1, false},
      {"ahead of AVI2", 200, 40, std::string("AVI1\1AVI2"), 0, true},
      {"a code of 0 ends the search", 200, 40, std::string("AVI1\0AVI1", 9), 1, false},
  };
  const Bytes image = Image(16, 2);
  // The smallest image: frame and scan headers, and no tables.
  const Bytes bare = Bytes{0xFF, 0xD8} + Bytes(image.begin() + kSof, image.begin() + kEntropy) +
                     Bytes{0x28, 0xA0, 0x0F};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << " at " << c.at << " of " << c.size);
    Bytes stream = bare;
    stream.resize(c.size);
    Bytes tag(c.tag.begin(), c.tag.end());
    tag.push_back(c.code);
    tag.resize(std::min(tag.size(), c.size - c.at));
    CodecCarryState carry = kNewCarryState;
    Decompress(Set(stream, c.at, tag), {kYuYv, 32, 16, 0, 0, &carry}, Bytes(32 * 16 * 2));
    // A field without its partner sets the bit.
    EXPECT_EQ(carry.decode_flags, c.field ? 257U : 256U);
  }
}

// How the lines of a frame come about: line k of image A or B, or the mean of A's lines k - 1, k.
enum Lines { kA, kB, kMeanOfA };

Bytes Weave(const Bytes& a, const Bytes& b, Lines even, Lines odd) {
  const size_t line = a.size() / 8;
  Bytes frame;
  for (size_t k = 0; k < 8; ++k) {
    for (const Lines lines : {even, odd}) {
      for (size_t i = 0; i < line; ++i) {
        const uint8_t from_a = a[k * line + i];
        const uint8_t above = a[(k == 0 ? 0 : k - 1) * line + i];
        frame.push_back(lines == kA   ? from_a
                        : lines == kB ? b[k * line + i]
                                      : static_cast<uint8_t>((from_a + above) / 2));
      }
    }
  }
  return frame;
}

TEST(FieldFrames, LinesMemoryAndPosition) {
  enum Streams { kPair, kSingle };
  enum Stop { kFirst, kSecond, kHead };  // behind the first or second image, or at the start
  const uint32_t smart = kOneFieldSmart, only = kOneFieldOnly, invert = kInvertFieldsOrder;
  struct Case {
    uint32_t memory, flags;
    Streams streams;
    Lines even, odd;
    uint32_t memory_after;
    Stop stop;
  };
  const Case cases[] = {
      {0, 0, kPair, kB, kA, 0, kSecond},
      {0, smart, kPair, kB, kA, 0, kSecond},
      {0, invert, kPair, kA, kB, 0, kSecond},
      {0, 0, kSingle, kA, kA, 1, kFirst},
      {0, smart, kSingle, kA, kA, 1, kFirst},
      {0, invert, kSingle, kA, kA, 1, kFirst},
      {1, 0, kPair, kB, kA, 0, kSecond},
      {1, smart, kPair, kB, kA, 0, kSecond},
      {1, smart | invert, kPair, kMeanOfA, kB, 0, kSecond},
      {1, 0, kSingle, kA, kA, 1, kHead},
      {1, smart, kSingle, kMeanOfA, kA, 1, kHead},
      {1, smart | invert, kSingle, kMeanOfA, kA, 1, kHead},
      {0, only, kPair, kA, kA, 0, kFirst},
      {1, only, kPair, kA, kA, 1, kFirst},
      {1, only | invert, kSingle, kA, kA, 1, kFirst},
      {0, only | smart, kSingle, kMeanOfA, kA, 0, kFirst},
  };
  const Bytes a = Image(8, 3), b = Image(8, 4), fill(9, 0xFF);
  const Bytes pair = a + fill + b + fill, single = a + fill;
  for (const auto format : {PixelFormatCode::kYuyvFull, PixelFormatCode::kBgr24,
                            PixelFormatCode::kBgra32Full, PixelFormatCode::kRgb565}) {
    const size_t line = 32 * BytesPerPixel(format);
    const auto decode = [&](const Bytes& stream, int height, uint32_t flags, CodecCarryState& carry,
                            Bytes& pixels) {
      pixels.assign(line * static_cast<size_t>(height), 0);
      return static_cast<size_t>(
          DecompressFrame(stream.data(), static_cast<uint32_t>(stream.size()), pixels.data(),
                          static_cast<int>(line), 32, height, flags, format, &carry) -
          stream.data());
    };
    CodecCarryState none{};
    Bytes lines_of_a, lines_of_b;
    decode(a, 8, 0, none, lines_of_a);
    decode(b, 8, 0, none, lines_of_b);
    for (const Case& c : cases) {
      SCOPED_TRACE(testing::Message()
                   << std::hex << static_cast<uint32_t>(format) << " flags " << c.flags
                   << " memory " << c.memory << " of " << (c.streams == kPair ? "two" : "one"));
      CodecCarryState carry = {0x100 | c.memory, 5};
      Bytes frame;
      const size_t stop = decode(c.streams == kPair ? pair : single, 16, c.flags, carry, frame);
      // Sixteen-bit pixels have no mean.
      const bool mean = c.even == kMeanOfA && format != PixelFormatCode::kRgb565;
      const Lines even = c.even == kMeanOfA && !mean ? kA : c.even;
      EXPECT_EQ(frame, Weave(lines_of_a, lines_of_b, even, c.odd));
      EXPECT_EQ(carry.decode_flags, 0x100 | c.memory_after);
      EXPECT_EQ(carry.rate_scale, 5U);
      const size_t stops[] = {a.size(), a.size() + fill.size() + b.size(), 0};
      EXPECT_EQ(stop, stops[c.stop]);
    }
  }
}

TEST(FieldFrames, ASecondImageInheritsTablesAndInterval) {
  const Bytes a = Image(8, 3), b = Image(8, 4), blank(32 * 16 * 2, 0xA5);
  const Call frame{kYuYv, 32, 16};
  const Bytes wanted = Decompress(a + b, frame, blank);
  EXPECT_EQ(Decompress(a + WithTables(b, {}), frame, blank), wanted);
  // The first image has RSTs; the second inherits the interval and lacks them.
  const Bytes interval = Decompress(Insert(a, 2, {0xFF, 0xDD, 0, 4, 0, 2}) + b, frame, blank);
  EXPECT_EQ(interval, wanted) << "two MCUs an image: no RST is due";
  // Refused or missing headers leave the first image's lines in place.
  const Bytes refused = Decompress(a + Set(b, kSof + 4, {12}), frame, blank);
  for (size_t i = 0; i < refused.size(); ++i) {
    ASSERT_EQ(refused[i], i / 64 % 2 != 0 ? wanted[i] : 0xA5);
  }
}

}  // namespace
