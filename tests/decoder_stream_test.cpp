// What the decoder makes of a stream's structure: headers, field tags, restarts, and one image or
// two.
#include <gtest/gtest.h>

#include "decoder/frame_decompressor.h"
#include "tests/frame_calls.h"

// The linker sends all calls of malloc here, in a static program those of operator new, too.
static bool refuse_malloc = false, decoding = false;
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  return refuse_malloc && decoding ? nullptr : __real_malloc(size);
}

namespace {

using namespace tkmjpg;

constexpr int kWidth = 32;

Bytes Image(int height, uint32_t seed) {
  return CompressNoise({kYuYv, kWidth, height, kBare, 90}, seed);
}

// Where the segments of Image lie.
constexpr size_t kDqt = 20, kSof = 154, kSos = 173, kEntropy = 187;

struct Decoded {
  Bytes pixels;  // 0xA5 where none was written
  size_t stop;
  CodecCarryState carry;
};

Decoded Decode(const Bytes& stream, int height, uint32_t flags = 0, uint32_t decode_flags = 256) {
  const GuardedBuffer input(stream);
  Decoded decoded = {Bytes(kWidth * height * 2, 0xA5), 0, {decode_flags, 0}};
  decoding = true;
  decoded.stop =
      DecompressFrame(input.data(), static_cast<uint32_t>(input.size()), decoded.pixels.data(),
                      kWidth * 2, kWidth, height, flags, kYuYv.code, &decoded.carry)
          .stop -
      input.data();
  decoding = false;
  return decoded;
}

// Table `t` of the stream as a DQT segment that says `head` (length and Pq/Tq), 8 bits or 16.
Bytes Dqt(const Bytes& stream, size_t t, const Bytes& head, bool wide, uint8_t high_byte = 0) {
  Bytes segment = Bytes{0xFF, 0xDB} + head;
  for (size_t k = 0; k < 64; ++k) {
    if (wide) segment.push_back(high_byte);
    segment.push_back(stream[kDqt + 5 + 65 * t + k]);
  }
  return segment;
}
Bytes WithTables(const Bytes& stream, const Bytes& tables) {
  return Insert(Erase(stream, kDqt, 134), kDqt, tables);
}

// What becomes of a stream: same or other pixels and the position after EOI; or no pixel, and the
// position at the start, after the headers, after EOI, or at the end of the data.
enum Fate { kSame, kOther, kStart, kHeaders, kAfterEoi, kEnd };

TEST(StreamParser, AcceptedAndRefused) {
  const Bytes s = Image(8, 1);
  const Bytes luma = Dqt(s, 0, {0, 67, 0}, false), chroma = Dqt(s, 1, {0, 67, 1}, false);
  const struct {
    const char* name;
    Bytes stream;
    Fate fate = kSame;
  } cases[] = {
      {"FF before SOI", Bytes(3, 0xFF) + s},
      {"another marker first", Erase(s, 0, 2), kStart},
      {"no FF", Bytes(50, 0x77), kEnd},
      {"FF only", {0xFF, 0xFF}, kEnd},
      {"no marker after SOI", {0xFF, 0xD8, 1, 2}, kEnd},
      {"stuffed zero and bytes between segments", Insert(s, 2, {0xFF, 0, 0xEE, 9})},
      {"fill before a marker", Insert(s, kDqt, Bytes(5, 0xFF))},
      {"a second SOI with a length", Insert(s, 2, {0xFF, 0xD8, 0, 4, 1, 1})},
      {"lengths of 0 and 1", Insert(s, 2, {0xFF, 0xE5, 0, 0, 0xFF, 0xE6, 0, 1})},
      {"other Huffman tables", Insert(s, 2, {0xFF, 0xC4, 0, 5, 1, 2, 3})},
      {"a length that ends after the data", Set(s, 22, {0xFF, 0xFF}), kEnd},
      {"a length cut in two", Head(s, kDqt + 3), kEnd},
      {"EOI before SOS", Insert(s, kSof, {0xFF, 0xD9}), kAfterEoi},
      {"EOI at the end", Head(s, kSof) + Bytes{0xFF, 0xD9}, kEnd},

      {"16-bit DQT", WithTables(s, luma + Dqt(s, 1, {0, 131, 0x11}, true))},
      {"any high nibble is 16 bits", WithTables(s, Dqt(s, 0, {0, 131, 0x50}, true) + chroma)},
      {"values from 256 on", WithTables(s, Dqt(s, 0, {0, 131, 0x10}, true, 1) + chroma), kOther},
      {"values from 4096 on wrap", WithTables(s, Dqt(s, 0, {0, 131, 0x10}, true, 0x50) + chroma)},
      {"DQT one byte short", WithTables(s, luma + Dqt(s, 1, {0, 66, 1}, false)), kOther},
      {"Tq 4 ends its segment", Set(s, kDqt + 69, {4}), kOther},
      {"DQT that ends after the data", Set(s, kDqt + 2, {0x7F, 0}), kEnd},
      {"no DQT", WithTables(s, {}), kOther},

      {"identifiers 1, 2, 3", Set(Set(Set(s, kSof + 10, {1}), kSof + 13, {2}), kSof + 16, {3})},
      {"another component has the 2", Set(Set(s, kSof + 11, {0x11}), kSof + 14, {0x21})},
      {"progressive", Set(s, kSof + 1, {0xC2}), kHeaders},
      {"12 bits", Set(s, kSof + 4, {12}), kHeaders},
      {"one component", Set(s, kSof + 9, {1}), kHeaders},
      {"4:2:0", Set(s, kSof + 11, {0x22}), kHeaders},
      {"4:4:4", Set(s, kSof + 11, {0x11}), kHeaders},
      {"Tq 4 of the last component", Set(s, kSof + 18, {4}), kEnd},
      {"SOF0 cut", Head(s, kSof + 17), kEnd},

      {"SOS of 14 bytes", Insert(Set(s, kSos + 3, {14}), kEntropy, {7, 7})},
      {"SOS of 11 bytes", Set(s, kSos + 3, {11}), kEnd},
      {"selectors, tables and bounds", Set(s, kSos + 5, {9, 0x33, 8, 0, 7, 0x21, 5, 9})},
      {"Ah/Al", Set(s, kSos + 13, {1}), kEnd},
      {"one component in the scan", Set(s, kSos + 4, {1}), kHeaders},
      {"nothing after SOS", Head(s, kEntropy), kEnd},
      {"SOS cut", Head(s, kEntropy - 1), kEnd},

      {"an interval without RST", WithRestartInterval(s, 1), kOther},
      {"a later DRI of 0", WithRestartInterval(WithRestartInterval(s, 0), 1)},
      {"DRI of any length", Insert(s, 2, {0xFF, 0xDD, 0, 6, 0, 2, 9, 9})},
      {"DRI cut", {0xFF, 0xD8, 0xFF, 0xDD, 0, 4, 0}, kEnd},
  };
  const Bytes blank(kWidth * 8 * 2, 0xA5), undamaged = Decode(s, 8).pixels;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes stream = c.fate == kEnd ? c.stream : c.stream + Bytes{0x12, 0x34};
    const Decoded decoded = Decode(stream, 8);
    EXPECT_EQ(decoded.pixels == undamaged, c.fate == kSame);
    EXPECT_EQ(decoded.pixels == blank, c.fate > kOther);
    const size_t eoi = FindMarker(stream, 0xD9) + 2;
    const size_t wanted[] = {eoi, eoi, 0, EntropyStart(stream), eoi, stream.size()};
    EXPECT_EQ(decoded.stop, wanted[c.fate]);
  }
}

TEST(FieldTag, Search) {
  using namespace std::string_literals;
  const struct {
    const char* name;
    size_t size, at;
    std::string tag;
    bool field;
  } cases[] = {
      {"code 0", 200, 40, "AVI1\0"s, false},
      {"code 2", 200, 40, "AVI1\2", true},
      {"another case", 200, 40, "avi1\1", false},
      {"last offset", 129, 122, "AVI1\1", true},
      {"too far", 200, 123, "AVI1\1", false},
      {"last of 128 bytes", 128, 122, "AVI1\1", true},
      {"too far in 128 bytes", 128, 123, "AVI1\1", false},
      {"after AVI2", 200, 40, "AVI2.AVI1\1", false},
      {"after SWC1", 200, 40, "SWC1.AVI1\1", false},
      {"before AVI2", 200, 40, "AVI1\1AVI2\0"s, true},
      {"a code of 0 ends the search", 200, 40, "AVI1\0AVI1\1"s, false},
  };
  const Bytes image = Image(16, 2);
  // The smallest image: frame and scan headers, and no tables.
  const Bytes bare = Bytes{0xFF, 0xD8} + Slice(image, kSof, kEntropy) + Bytes{0x28, 0xA0, 0x0F};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << " at " << c.at << " of " << c.size);
    Bytes stream = bare;
    stream.resize(c.size);
    const std::string tag = c.tag.substr(0, c.size - c.at);
    // A field without its partner sets the bit.
    EXPECT_EQ(Decode(Set(stream, c.at, Bytes(tag.begin(), tag.end())), 16).carry.decode_flags,
              c.field ? 257U : 256U);
  }
}

// Which image each line of a frame came from, the top line first: 'a', 'b', or '-' for none.
std::string Sources(const Bytes& pixels, const Bytes& a, const Bytes& b) {
  std::string sources;
  for (size_t y = 0; y < pixels.size() / 64; ++y) {
    const auto is = [&](const Bytes& image) {
      const size_t at = y / 2 * 64;
      return at + 64 <= image.size() &&
             Slice(image, at, at + 64) == Slice(pixels, y * 64, y * 64 + 64);
    };
    sources += is(a) ? 'a' : is(b) ? 'b' : is(Bytes(1024, 0xA5)) ? '-' : '?';
  }
  return sources;
}

TEST(FieldFrames, WhereLinesComeFromAndWhereReadingStops) {
  const Bytes a = Image(8, 3), b = Image(8, 4);
  const Bytes damaged = WithRestartInterval(a, 1);  // no marker after the first MCU
  const auto a_size = a.size(), pair_size = a.size() + b.size();
  const std::string ba = "babababababababa", aa(16, 'a'), none(16, '-');
  const struct {
    const char* name;
    Bytes stream;
    uint32_t before, after;  // decode_flags
    size_t stop;
    std::string sources;
  } cases[] = {
      {"a pair", a + b, 256, 256, pair_size, ba},
      {"a pair after a single", a + b, 257, 256, pair_size, ba},
      {"a single", a, 256, 257, a_size, aa},
      {"a single after another", a, 257, 257, 0, aa},
      {"SOI in the last two bytes", a + Bytes{0, 0xFF, 0xD8}, 256, 257, a_size, aa},
      {"SOI before the last byte", a + Bytes{0, 0xFF, 0xD8, 0}, 256, 256, a_size + 4,
       "-a-a-a-a-a-a-a-a"},
      {"a refused second image", a + Set(b, kSof + 4, {12}), 256, 256, a_size + kEntropy,
       "-a-a-a-a-a-a-a-a"},
      {"a damaged first image", damaged + b, 256, 256, damaged.size(), "-?-?-?-?-?-?-?-?"},
      {"the same after a single", damaged + b, 257, 257, damaged.size(), none},
  };
  const Bytes a_pixels = Decode(a, 8).pixels, b_pixels = Decode(b, 8).pixels;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded decoded = Decode(c.stream, 16, 0, c.before);
    EXPECT_EQ(Sources(decoded.pixels, a_pixels, b_pixels), c.sources);
    EXPECT_EQ(decoded.stop, c.stop);
    EXPECT_EQ(decoded.carry.decode_flags, c.after);
  }
  // Of an odd number of lines each image has half, rounded down.
  EXPECT_EQ(Sources(Decode(Image(16, 3) + Image(16, 4), 17).pixels, Decode(Image(16, 3), 16).pixels,
                    Decode(Image(16, 4), 16).pixels),
            ba + "-");
}

// The first image has the odd lines, but for two options that cancel each other.
TEST(FieldFrames, OrderByOptionsAndFieldCode) {
  const Bytes a = Image(8, 3), b = Image(8, 4);
  const Bytes a_pixels = Decode(a, 8).pixels, b_pixels = Decode(b, 8).pixels;
  for (const uint8_t code : Bytes{0, 1, 2, 3, 255}) {
    const Bytes tagged = Insert(a, 2, {0xFF, 0xE0, 0, 7, 'A', 'V', 'I', '1', code});
    for (const uint32_t invert : {0U, uint32_t{TKMJPG_D_INVERT_FIELDS}}) {
      for (const uint32_t markers : {0U, uint32_t{TKMJPG_D_USE_AVI1_MARKERS}}) {
        const bool even_first = (invert != 0) != (markers != 0 && code == 2);
        const Bytes pixels = Decode(tagged + b, 16, invert | markers).pixels;
        EXPECT_EQ(Sources(pixels, a_pixels, b_pixels).substr(0, 2), even_first ? "ab" : "ba")
            << static_cast<int>(code) << ", options " << (invert | markers);
      }
    }
  }
}

TEST(FieldFrames, ASecondImageInheritsWhatItDoesNotSay) {
  const Bytes flat = Compress(Bytes(kWidth * 8 * 2, 90), {kYuYv, kWidth, 8, kBare, 90});
  const Bytes a = Image(8, 3), b = Image(8, 4);
  const Bytes no_change = {0x28, 0xA0, 0x02, 0x8A, 0x00, 0xFF, 0xD9};  // two MCUs
  const Bytes grey = Head(flat, kEntropy) + no_change;
  const struct {
    const char* name;
    Bytes stream, same;
  } cases[] = {
      {"tables", a + WithTables(b, {}), a + b},
      {"interval: two MCUs an image, no RST is due", Insert(a, 2, {0xFF, 0xDD, 0, 4, 0, 2}) + b,
       a + b},
      {"frame header", a + Erase(b, kSof, 19), a + b},
      {"frame and scan header, predictors", flat + Bytes{0xFF, 0xD8, 0xFF, 0xD9} + no_change,
       flat + flat},
      {"SOS clears the predictors", flat + Erase(grey, kSof, 19), flat + grey},
  };
  EXPECT_NE(Decode(flat + flat, 16).pixels, Decode(flat + grey, 16).pixels);
  for (const auto& c : cases) {
    EXPECT_EQ(Decode(c.stream, 16).pixels, Decode(c.same, 16).pixels) << c.name;
  }
}

// The mean of two 16-bit pixels' bytes would be no colour between them.
TEST(FieldFrames, SixteenBitPixelsAreDoubledNotInterpolated) {
  const Bytes field = Image(8, 5);
  for (const Layout& layout : kOutputLayouts) {
    const Call call{layout, kWidth, 16, TKMJPG_D_ONE_FIELD};
    Call smart = call;
    smart.flags |= TKMJPG_D_ONE_FIELD_SMART;
    const bool words = layout.fourcc == TKMJPG_R555 || layout.fourcc == TKMJPG_R565;
    EXPECT_EQ(Decompress(field, smart) == Decompress(field, call), words) << layout.name;
  }
}

TEST(FieldFrames, WithoutScratchMemoryTheFrameIsGivenUp) {
  const Bytes pair = Image(8, 3) + Image(8, 4);
  for (const uint32_t flags : {0U, uint32_t{TKMJPG_D_ONE_FIELD}}) {
    refuse_malloc = true;
    const Decoded decoded = Decode(pair, 16, flags, 257);
    refuse_malloc = false;
    EXPECT_EQ(decoded.pixels, Bytes(kWidth * 16 * 2, 0xA5));
    EXPECT_EQ(decoded.stop, kEntropy);
    EXPECT_EQ(decoded.carry.decode_flags, 257U);
  }
}

TEST(CutImages, TheRestIsFlatHoweverLong) {
  constexpr int kHeight = 1024;  // rest enough to fill any buffer of the decoder's again
  const Bytes image = Image(kHeight, 6);
  for (const size_t data : {0, 300, 900, 1500, 4000, 4500, 9000}) {
    const Bytes pixels = Decode(Head(image, kEntropy + 1 + data), kHeight).pixels;
    // An MCU has more than 100 bytes of data here: lines from this one on are after the end.
    const size_t first = (data / 200 + 1) * 8 * kWidth * 2;
    for (size_t i = first + 4; i < pixels.size(); ++i) {
      ASSERT_EQ(pixels[i], pixels[i - 4]) << "byte " << i << " after " << data;
    }
  }
}

TEST(CutImages, ALoneFFAtTheEndIsDropped) {
  const Bytes image = Image(16, 7);
  for (size_t size = kEntropy + 1; size < image.size(); ++size) {
    if (image[size - 1] == 0xFF) continue;
    const Bytes cut = Head(image, size);
    ASSERT_EQ(Decode(cut + Bytes{0xFF}, 16).pixels, Decode(cut, 16).pixels) << size;
  }
}

TEST(Restarts, MarkersAndDamage) {
  constexpr int kIntervals = 11;  // one below the other, past RST7
  const struct {                  // what is done to the interval that ends with RST4
    const char* name;
    size_t kept;  // bytes of its data
    Bytes more;
    uint8_t marker;
    int wrong;    // the interval that may hold anything
    int written;  // intervals that are written at all
  } cases[] = {
      {"undamaged", 9999, {}, 0xD4, -1, kIntervals},
      {"bytes before a marker", 9999, {1, 2, 3, 0xFF, 0, 4}, 0xD4, -1, kIntervals},
      {"an interval cut short", 9, {}, 0xD4, 4, kIntervals},
      {"an interval lost but for its marker", 0, {}, 0xD4, 4, kIntervals},
      {"wrong number", 9999, {}, 0xD5, -1, 5},
      {"no RST", 9999, {}, 0xD9, -1, 5},
  };
  // MCUs an interval, and the caller's width: intervals count the MCUs that are cropped, too.
  for (const auto& [mcus, width] : {std::pair{1, 16}, {5, 80}, {5, 40}}) {
    const Call wanted{kYuYv, width, 8}, call{kYuYv, width, kIntervals * 8};
    std::vector<Bytes> streams, pictures;
    for (uint32_t i = 0; i < kIntervals; ++i) {
      streams.push_back(CompressNoise({kYuYv, mcus * 16, 8, kBare, 60}, i));
      pictures.push_back(Decompress(streams[i], wanted));
    }
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << c.name << ", width " << width << " of " << 16 * mcus);
      Bytes stream = WithRestartInterval(Head(streams[0], EntropyStart(streams[0])),
                                         static_cast<uint8_t>(mcus));
      stream[FindMarker(stream, 0xC0) + 6] = kIntervals * 8;
      for (int i = 0; i < kIntervals; ++i) {
        const Bytes data = Slice(streams[i], EntropyStart(streams[i]), streams[i].size() - 2);
        const auto marker = static_cast<uint8_t>(i + 1 == kIntervals ? 0xD9 : 0xD0 + i % 8);
        stream = stream + (i == 4 ? Head(data, std::min(data.size(), c.kept)) + c.more : data) +
                 Bytes{0xFF, i == 4 ? c.marker : marker};
      }
      const Bytes pixels = Decompress(stream, call, Bytes(call.Size(), 0xA5));
      const size_t bytes = wanted.Size();
      for (int i = 0; i < kIntervals; ++i) {
        if (i == c.wrong) continue;
        ASSERT_EQ(Slice(pixels, i * bytes, i * bytes + bytes),
                  i < c.written ? pictures[i] : Bytes(bytes, 0xA5))
            << "interval " << i;
      }
    }
  }
}

}  // namespace
