// What the decoder makes of a stream's structure: headers, field tags, restarts, and one image or
// two.
#include <gtest/gtest.h>

#include "decoder/frame_decompressor.h"
#include "tests/frame_calls.h"

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

Decoded Decode(const Bytes& stream, int height) {
  const GuardedBuffer input(stream);
  Decoded decoded = {Bytes(kWidth * height * 2, 0xA5), 0, kNewCarryState};
  decoded.stop =
      DecompressFrame(input.data(), static_cast<uint32_t>(input.size()), decoded.pixels.data(),
                      kWidth * 2, kWidth, height, 0, kYuYv.code, &decoded.carry) -
      input.data();
  return decoded;
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
  const struct {
    const char* name;
    Bytes stream;
    Fate fate = kSame;
  } cases[] = {
      {"FF ahead of SOI", Bytes(3, 0xFF) + s},
      {"another marker first", Erase(s, 0, 2), kStart},
      {"no FF", Bytes(50, 0x77), kEnd},
      {"FF only", {0xFF, 0xFF}, kEnd},
      {"no marker behind SOI", {0xFF, 0xD8, 1, 2}, kEnd},
      {"stuffed zero and bytes between segments", Insert(s, 2, {0xFF, 0, 0xEE, 9})},
      {"fill ahead of a marker", Insert(s, kDqt, Bytes(5, 0xFF))},
      {"a second SOI with a length", Insert(s, 2, {0xFF, 0xD8, 0, 4, 1, 1})},
      {"lengths of 0 and 1", Insert(s, 2, {0xFF, 0xE5, 0, 0, 0xFF, 0xE6, 0, 1})},
      {"other Huffman tables", Insert(s, 2, {0xFF, 0xC4, 0, 5, 1, 2, 3})},
      {"a length behind the end", Set(s, 22, {0xFF, 0xFF}), kEnd},
      {"a length cut in two", Head(s, kDqt + 3), kEnd},
      {"EOI ahead of SOS", Insert(s, kSof, {0xFF, 0xD9}), kBehindEoi},
      {"EOI at the end", Head(s, kSof) + Bytes{0xFF, 0xD9}, kEnd},

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
      {"4:2:0", Set(s, kSof + 11, {0x22}), kHeaders},
      {"4:4:4", Set(s, kSof + 11, {0x11}), kHeaders},
      {"Tq 4 of the last component", Set(s, kSof + 18, {4}), kEnd},
      {"SOF0 cut", Head(s, kSof + 17), kEnd},

      {"SOS of 14 bytes", Insert(Set(s, kSos + 3, {14}), kEntropy, {7, 7})},
      {"SOS of 11 bytes", Set(s, kSos + 3, {11}), kEnd},
      {"selectors, tables and bounds", Set(s, kSos + 5, {9, 0x33, 8, 0, 7, 0x21, 5, 9})},
      {"Ah/Al", Set(s, kSos + 13, {1}), kEnd},
      {"one component in the scan", Set(s, kSos + 4, {1}), kHeaders},
      {"nothing behind SOS", Head(s, kEntropy), kEnd},
      {"SOS cut", Head(s, kEntropy - 1), kEnd},

      {"an interval without RST", WithRestartInterval(s, 1), kOther},
      {"a later DRI of 0", WithRestartInterval(WithRestartInterval(s, 0), 1)},
      {"DRI of any length", Insert(s, 2, {0xFF, 0xDD, 0, 6, 0, 2, 9, 9})},
      {"DRI cut", {0xFF, 0xD8, 0xFF, 0xDD, 0, 4, 0}, kEnd},
  };
  const Bytes blank(kWidth * 8 * 2, 0xA5), sound = Decode(s, 8).pixels;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes stream = c.fate == kEnd ? c.stream : c.stream + Bytes{0x12, 0x34};
    const Decoded decoded = Decode(stream, 8);
    EXPECT_EQ(decoded.pixels == sound, c.fate == kSame);
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
      {"behind AVI2", 200, 40, "AVI2.AVI1\1", false},
      {"behind SWC1", 200, 40, "SWC1.AVI1\1", false},
      {"ahead of AVI2", 200, 40, "AVI1\1AVI2\0"s, true},
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

TEST(FieldFrames, ASecondImageInheritsTablesAndInterval) {
  const Bytes a = Image(8, 3), b = Image(8, 4), wanted = Decode(a + b, 16).pixels;
  EXPECT_EQ(Decode(a + WithTables(b, {}), 16).pixels, wanted);
  EXPECT_EQ(Decode(Insert(a, 2, {0xFF, 0xDD, 0, 4, 0, 2}) + b, 16).pixels, wanted)
      << "two MCUs an image: no RST is due";
  // Refused or missing headers leave the first image's lines in place.
  const Bytes refused = Decode(a + Set(b, kSof + 4, {12}), 16).pixels;
  for (size_t i = 0; i < refused.size(); ++i) {
    ASSERT_EQ(refused[i], i / 64 % 2 != 0 ? wanted[i] : 0xA5);
  }
}

TEST(Restarts, MarkersAndDamage) {
  constexpr int kMcus = 11;  // past RST7
  const struct {             // what is done to the interval that ends with RST4
    const char* name;
    size_t kept;  // bytes of its data
    Bytes more;
    uint8_t marker;
    int wrong;    // the MCU that may hold anything
    int written;  // MCUs that are written at all
  } cases[] = {
      {"sound", 999, {}, 0xD4, -1, kMcus},
      {"bytes ahead of a marker", 999, {1, 2, 3, 0xFF, 0, 4}, 0xD4, -1, kMcus},
      {"an interval cut short", 9, {}, 0xD4, 4, kMcus},
      {"an interval lost but for its marker", 0, {}, 0xD4, 4, kMcus},
      {"wrong number", 999, {}, 0xD5, -1, 5},
      {"no RST", 999, {}, 0xD9, -1, 5},
  };
  std::vector<Bytes> streams, pictures;  // of one MCU each
  for (uint32_t i = 0; i < kMcus; ++i) {
    streams.push_back(CompressNoise({kYuYv, 16, 8, kBare, 60}, i));
    pictures.push_back(Decompress(streams[i], {kYuYv, 16, 8}));
  }
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes stream = WithRestartInterval(Head(streams[0], EntropyStart(streams[0])), 1);
    stream[FindMarker(stream, 0xC0) + 8] = kMcus * 16;
    for (int i = 0; i < kMcus; ++i) {
      const Bytes data = Slice(streams[i], EntropyStart(streams[i]), streams[i].size() - 2);
      const auto marker = static_cast<uint8_t>(i + 1 == kMcus ? 0xD9 : 0xD0 + i % 8);
      stream = stream + (i == 4 ? Head(data, std::min(data.size(), c.kept)) + c.more : data) +
               Bytes{0xFF, i == 4 ? c.marker : marker};
    }
    const Call call{kYuYv, kMcus * 16, 8};
    const Bytes pixels = Decompress(stream, call, Bytes(call.Size(), 0xA5));
    for (int i = 0; i < kMcus * 8; ++i) {
      const int mcu = i % kMcus, at = i / kMcus * 32;
      if (mcu == c.wrong) continue;
      ASSERT_EQ(Slice(pixels, i * 32, i * 32 + 32),
                mcu < c.written ? Slice(pictures[mcu], at, at + 32) : Bytes(32, 0xA5))
          << "MCU " << mcu << " byte " << at;
    }
  }
}

}  // namespace
