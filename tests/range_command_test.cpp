// Black and white stay black and white, whatever range the stream has.
#include "tests/command_runner.h"
#include "tests/reshaped_frames.h"
#include "tools/tkmjpg/media/sample_range.h"
#include "tools/tkmjpg/streams/lossless_recode.h"

namespace {

namespace tool = tkmjpg::tool;

constexpr int kSize = 32;

class SampleRange : public CommandTest {
 protected:
  // Left half black, right half white.
  void WriteY4m(const std::string& name, const std::string& tags, char black, char white,
                size_t chroma) const {
    std::string text = "YUV4MPEG2 W32 H32 F25:1 " + tags + "\nFRAME\n";
    for (int y = 0; y < kSize; ++y)
      text += std::string(kSize / 2, black) + std::string(kSize / 2, white);
    WriteFile(name, text + std::string(chroma, '\x80'));
  }

  struct Levels {
    int black, white;
  };
  Levels LevelsOf(const std::string& name, size_t pixel_bytes, size_t begin) const {
    const Bytes bytes = Output(name);
    const size_t line = begin + 4 * kSize * pixel_bytes;
    return {bytes.at(line + 4 * pixel_bytes), bytes.at(line + 28 * pixel_bytes)};
  }

  // What decoding to each kind of output gives.
  void ExpectDecoded(const std::string& options, const std::string& range, Levels stream) const {
    RunWell(std::string("decode -qf f.avi f.y4m ").append(options));
    const std::string y4m = Text("f.y4m");
    const std::string header = y4m.substr(0, y4m.find('\n'));
    EXPECT_TRUE(header.ends_with(" XCOLORRANGE=" + range)) << header;
    ExpectLevels(LevelsOf("f.y4m", 1, y4m.find("FRAME\n") + 6), stream);
    RunWell(std::string("decode -qf f.avi f.raw --layout BGR3 ").append(options));
    ExpectLevels(LevelsOf("f.raw", 3, 0), {0, 255});
    RunWell(std::string("decode -qf f.avi g.avi ").append(options));
    const std::string avi = Text("g.avi");
    ExpectLevels(LevelsOf("g.avi", 2, avi.find("00db", avi.find("movi")) + 8), {16, 235});
  }

  static void ExpectLevels(Levels levels, Levels wanted) {
    EXPECT_NEAR(levels.black, wanted.black, 2);
    EXPECT_NEAR(levels.white, wanted.white, 2);
  }
};

TEST_F(SampleRange, IsWhatWasAskedForAndIsFoundAgain) {
  WriteY4m("limited.y4m", "C422", 16, '\xEB', kSize * kSize);
  WriteY4m("full.y4m", "C444 XCOLORRANGE=FULL", 0, '\xFF', 2 * kSize * kSize);
  WriteY4m("full420.y4m", "C420jpeg XCOLORRANGE=FULL", 0, '\xFF', kSize * kSize / 2);
  RunWell("encode -q limited.y4m t.avi --quality 100");
  RunWell("decode -q t.avi s_0.png");
  std::string words;
  for (int i = 0; i < kSize * kSize; ++i) {
    words += i % kSize < kSize / 2 ? std::string(2, 0) : "\xFF\x7F";
  }
  WriteFile("s.raw", words);
  const char* inputs[] = {"limited.y4m", "full.y4m", "full420.y4m", "s_0.png",
                          "s.raw --size 32x32 --layout R555"};
  for (const std::string input : inputs) {
    for (const char* options : {"", "--for driver", "--mode 7", "--fields top"}) {
      SCOPED_TRACE(input + options);
      RunWell(std::string("encode -qf --quality 100 ").append(input) + " f.avi " + options);
      ExpectDecoded("", "LIMITED", {16, 235});
    }
  }
  for (const std::string input : inputs) {
    for (const char* options : {"", "--for driver", "--mode 0", "--fields top --mode 5"}) {
      SCOPED_TRACE(input + options);
      RunWell(std::string("encode -qf --quality 100 --range full ").append(input) + " f.avi " +
              options);
      ExpectDecoded("", "FULL", {0, 255});
    }
  }
}

// JPEG as others write it: what the headers say, and --range.
TEST_F(SampleRange, IsToldByTheHeaders) {
  const Bytes com = {0xFF, 0xFE, 0x00, 0x0B, 'C', 'S', '=', 'I', 'T', 'U', '6', '0', '1'};
  const Bytes with_zero = Set(com, 3, {0x0C}) + Bytes{0}, other = Set(com, 12, {'2'});
  const Bytes own = tool::Encode(TKMJPG_C_HUFFMAN_TABLES), jfif = tool::Encode(Mode(7));
  const Bytes bare = Erase(own, 2, 18);
  const size_t ids = FindMarker(own, 0xC0) + 10;
  const Bytes webcam = Set(Set(Set(own, ids, {1}), ids + 3, {2}), ids + 6, {3});
  const struct {
    const char* name;
    Bytes image;
    const char* options;
    const char* range;
  } cases[] = {{"AVI1", own, "", "LIMITED"},
               {"AVI1 of a webcam", webcam, "", "FULL"},
               {"JFIF", jfif, "", "FULL"},
               {"no header", bare, "", "FULL"},
               {"comment", Insert(bare, 2, com), "", "LIMITED"},
               {"comment with a zero", Insert(jfif, 20, with_zero), "", "LIMITED"},
               {"another comment", Insert(jfif, 20, other), "", "FULL"},
               {"asked for full", own, "--range full", "FULL"},
               {"asked for limited", jfif, "--range limited", "LIMITED"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    WriteFile("a.jpg", c.image);
    RunWell(std::string("decode -qf a.jpg a.y4m ") + c.options);
    const std::string header = Text("a.y4m").substr(0, 80);
    ExpectHas(header, std::string("XCOLORRANGE=") + c.range);
    RunWell(std::string("repair -qf a.jpg b.jpg"));
    RunWell(std::string("decode -qf b.jpg b.y4m ") + c.options);
    EXPECT_EQ(Text("b.y4m"), Text("a.y4m"));
  }
}

// A new AVI1 header makes no range, and comments stay.
TEST_F(SampleRange, OutlivesRecoding) {
  const tool::Shape shape = {"32x8", 2, 1, false, {0, 1, 1}, 0};
  const Bytes com = {0xFF, 0xFE, 0x00, 0x0B, 'C', 'S', '=', 'I', 'T', 'U', '6', '0', '1'};
  const Bytes avi1 = tool::Reshape(tool::Encode(0), shape), bare = Erase(avi1, 2, 18);
  const std::pair<Bytes, bool> cases[] = {{avi1, true},
                                          {bare, false},
                                          {Insert(bare, 2, com), true},
                                          {tool::Reshape(tool::Encode(Mode(7)), shape), false}};
  for (const auto& [image, limited] : cases) {
    const auto frame = tool::AnalyseFrame(image);
    ASSERT_TRUE(frame.NeedsRecoding());
    EXPECT_EQ(frame.images[0].IsLimitedRange(), limited);
    const Bytes recoded = tool::RecodeFrame(image, frame).stream;
    EXPECT_EQ(tool::AnalyseFrame(recoded).images[0].IsLimitedRange(), limited);
  }
}

TEST(RangeTables, GoThereAndBack) {
  const tool::RangeTables &full = tool::TablesTo(tool::Range::kFull),
                          &limited = tool::TablesTo(tool::Range::kLimited);
  const struct {
    int from, luma, chroma;
  } cases[] = {{0, 0, 0},       {16, 0, 0},      {126, 128, 126},
               {128, 130, 128}, {235, 255, 250}, {255, 255, 255}};
  for (const auto& c : cases) {
    EXPECT_EQ(full.luma.at(c.from), c.luma) << c.from;
    EXPECT_EQ(full.chroma.at(c.from), c.chroma) << c.from;
  }
  for (size_t i = 16; i <= 235; ++i) EXPECT_EQ(limited.luma[full.luma[i]], i);
  for (size_t i = 16; i <= 240; ++i) EXPECT_EQ(limited.chroma[full.chroma[i]], i);
}

// Primary colours as JFIF has them, and a pair's mean chroma; an odd last pixel counts twice.
TEST(RangeTables, RgbBecomesFullRange) {
  const Bytes bgr = {0, 0, 255, 0, 0, 255, 255, 0, 0, 255, 255, 255, 0, 255, 0};
  Bytes pixels(12);
  tool::BgrLineToFullYuy2(bgr.data(), 3, 5, pixels.data());
  EXPECT_EQ(pixels, (Bytes{76, 85, 76, 255, 29, 192, 255, 118, 150, 44, 150, 21}));
  Bytes words = {0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00, 0x10, 0x42}, back(12);
  tool::R555ToBgr(words, back.data());
  EXPECT_EQ(back, (Bytes{0, 0, 255, 0, 255, 0, 255, 0, 0, 132, 132, 132}));
}

}  // namespace
