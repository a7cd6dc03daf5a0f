// Fields come to their lines again, whoever has written them.
#include "tests/command_runner.h"
#include "tests/frame_calls.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace {

using tkmjpg::tool::AnalyseFrame, tkmjpg::tool::FieldLines, tkmjpg::tool::FrameAnalysis;

constexpr int kWidth = 96, kHeight = 64, kFrames = 3;
const tkmjpg::tool::VideoFormat kFormat = {kWidth, kHeight};

class Fields : public CommandTest {
 protected:
  std::string Y4mHeader(const std::string& name) const {
    const std::string text = Text(name);
    return text.substr(0, text.find('\n'));
  }

  // Of each line of the first frame.
  Bytes FirstLuma(const std::string& name, int width, int height) const {
    const std::string text = Text(name);
    const size_t begin = text.find("FRAME\n") + 6;
    Bytes luma;
    for (int y = 0; y < height; ++y) {
      luma.push_back(static_cast<uint8_t>(text.at(begin + static_cast<size_t>(y * width) + 5)));
    }
    return luma;
  }
};

// Grey with boxes whose edges lie on even and odd lines; flat if there are to be none.
Bytes Scene(bool edges) {
  Bytes pixels(size_t{kWidth} * kHeight * 2, 128);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int box = x / 16, top = 10 + 3 * box;
      const bool inside = edges && y >= top && y < top + 21;
      pixels[static_cast<size_t>(2 * (y * kWidth + x))] = inside ? 190 : 70;
    }
  }
  return pixels;
}

void ExpectNear(const Bytes& luma, const Bytes& wanted, int tolerance) {
  ASSERT_EQ(luma.size(), wanted.size());
  for (size_t y = 0; y < luma.size(); ++y) EXPECT_NEAR(luma[y], wanted[y], tolerance) << y;
}

// Even lines are dark, odd ones bright: no picture that anything could be told from.
TEST_F(Fields, ReturnToTheirLines) {
  constexpr int kSize = 16, kCode = 10;  // of the field code: after SOI, APP0 header and "AVI1"
  std::string picture = "FRAME\n";
  for (int y = 0; y < kSize; ++y) picture += std::string(kSize, y % 2 == 0 ? 50 : 100);
  picture += std::string(kSize * kSize / 2, '\x60');
  const Bytes lines = {50, 100, 50, 100, 50, 100, 50, 100, 50, 100, 50, 100, 50, 100, 50, 100};
  const uint32_t none = 0, markers = TKMJPG_D_USE_AVI1_MARKERS, invert = TKMJPG_D_INVERT_FIELDS;
  const struct {
    const char *tags, *options;
    int first_code;
    std::vector<uint32_t> flags;  // that the library decodes with
    const char* order;            // in time, as it comes back
  } cases[] = {{"It", "", 1, {invert}, " It "},
               {"Ib", "", 1, {invert}, " Ib "},
               {"It", "--for driver", 1, {none, markers}, " It "},
               {"Ib", "--for driver", 1, {none, markers}, " Ib "},
               {"It", "--range full", -1, {invert}, " It "},
               {"Ib", "--mode 2", 1, {invert}, " Ib "},
               {"Ip", "", 0, {none, markers, invert}, " Ip "},
               {"I?", "--fields top", 1, {invert}, " It "},
               {"It", "--progressive", 0, {none, markers, invert}, " Ip "},
               {"Im", "--fields bottom", 1, {invert}, " Ib "}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.tags) + " " + c.options);
    WriteFile("f.y4m", std::string("YUV4MPEG2 W16 H16 ") + c.tags + "\n" + picture);
    for (const char* film : {"f.mjpg", "f.avi"}) {
      RunWell(std::string("encode -qf --quality 100 f.y4m ") + film + " " + c.options);
      RunWell(std::string("decode -qf ") + film + " g.y4m");
      if (c.first_code >= 0) ExpectNear(FirstLuma("g.y4m", kSize, kSize), lines, 3);
    }
    ExpectHas(Y4mHeader("g.y4m"), c.order);
    const Bytes stream = Output("f.mjpg");
    ASSERT_GT(stream.size(), size_t{kCode});
    if (c.first_code < 0) {  // of full range
      const std::string comparison = RunWell("compare f.y4m f.avi");
      EXPECT_GT(std::atof(&comparison[comparison.find(": Y ") + 4]), 40) << comparison;
      continue;
    }
    EXPECT_EQ(stream[kCode], c.first_code);
    for (const uint32_t flags : c.flags) {
      const Bytes pixels = Decompress(stream, {kYuy2, kSize, kSize, flags});
      Bytes luma;
      for (size_t y = 0; y < kSize; ++y) luma.push_back(pixels[kSize * 2 * y]);
      ExpectNear(luma, lines, 3);
    }
  }
}

TEST_F(Fields, ForTheDriverIsWhatTheEncoderWrites) {
  const Bytes pixels = Scene(true);
  WriteFile("s.raw", pixels);
  const std::pair<const char*, uint32_t> cases[] = {
      {"", 0},
      {"--fields top", TKMJPG_C_FIELDS},
      {"--fields bottom --mode 3", TKMJPG_C_FIELDS | Mode(3)}};
  for (const auto& [options, flags] : cases) {
    RunWell(std::string("encode -qf s.raw s.mjpg --size 96x64 --for driver ") + options);
    EXPECT_EQ(Output("s.mjpg"),
              Compress(pixels, {kYuy2, kWidth, kHeight, flags | TKMJPG_C_HUFFMAN_TABLES}))
        << options;
  }
}

// Comments, exact heights, and everything else that readers check.
TEST_F(Fields, ForPlayersSaysWhatTheyNeed) {
  const Bytes comment = {0xFF, 0xFE, 0x00, 0x0B, 'C', 'S', '=', 'I', 'T', 'U', '6', '0', '1'};
  for (const char* mode : {"0", "1", "2", "3", "5", "7"}) {
    for (const char* options : {"", "--fields top", "--fields bottom --no-huffman-tables"}) {
      SCOPED_TRACE(std::string(mode) + " " + options);
      const bool fields = options[0] != 0, top = std::string(options).find("top") < 20;
      RunWell(std::string("encode -qf testcard:50x38@25:1 p.mjpg ") + options + " --mode " + mode);
      const Bytes stream = Output("p.mjpg");
      const FrameAnalysis frame = AnalyseFrame(stream);
      EXPECT_EQ(frame.problems, std::vector<std::string>());
      ASSERT_EQ(frame.images.size(), fields ? 2U : 1U);
      for (size_t i = 0; i < frame.images.size(); ++i) {
        const auto& image = frame.images[i];
        EXPECT_EQ(std::to_string(image.mode), mode);
        EXPECT_EQ(image.height, fields ? 19 : 38);
        EXPECT_TRUE(image.marks.limited);
        EXPECT_LT(Find(stream, comment, image.begin), FindMarker(stream, 0xC0, image.begin));
        EXPECT_EQ(image.end % 8 == 0, mode[0] < '5' || image.end % 8 == 0);
        ASSERT_EQ(image.marks.lines.has_value(), fields);
        if (!fields) continue;
        EXPECT_EQ(*image.marks.lines, i == 0 ? FieldLines::kEven : FieldLines::kOdd);
        EXPECT_EQ(image.marks.earlier, top == (i == 0));
      }
    }
  }
}

// Alpha follows the images, and its frame is the size that was asked for.
TEST_F(Fields, MarksLeaveAlphaAndSizesRight) {
  RunWell("testcard 64x48@25:3 a_%d.png");
  RunWell("encode -q a_%d.png a.avi --alpha --fields top");
  RunWell("encode -q a_%d.png b.avi --alpha --fields top --for driver");
  RunWell("decode -q a.avi a.raw --layout BGRA");
  RunWell("decode -q b.avi b.raw --layout BGRA");
  EXPECT_EQ(Output("a.raw"), Output("b.raw"));
  ASSERT_FALSE(Output("a.raw").empty());

  const auto bytes_of = [&](const std::string& options) {
    RunWell("encode -qf testcard:320x240@25:60 r.mjpg --fields top --target-size 12000 " + options);
    return static_cast<double>(Output("r.mjpg").size()) / 60;
  };
  EXPECT_NEAR(bytes_of(""), bytes_of("--for driver"), 60);
}

// Whatever the writer's codes mean, the picture shows it; where it does not, codes decide.
TEST_F(Fields, AreFoundInThePicture) {
  constexpr uint32_t kPair = TKMJPG_C_FIELDS, kSwap = kPair | TKMJPG_C_SWAP_LINES,
                     kTwo = TKMJPG_C_CODE2_FIRST, kJfif = Mode(7);
  const struct {
    uint32_t flags;
    bool edges;
    const char* options;
    const char* order;
    bool right;
  } cases[] = {
      {kPair, true, "", "Ib", true},
      {kSwap, true, "", "It", true},
      {kPair | kTwo, true, "", "It", true},
      {kSwap | kTwo, true, "", "Ib", true},
      {kPair | kJfif, true, "", "Ib", true},
      {kSwap | kJfif, true, "", "It", true},
      {kPair, false, "", "Ib", true},
      {kPair | kTwo, false, "", "It", true},
      {kPair, true, "--first-image bottom", "Ib", true},
      {kPair, true, "--first-image top", "It", false},
      {kSwap, true, "--first-image auto", "It", true},
      {kSwap, true, "--first-image bottom", "Ib", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.flags << " " << c.edges << " " << c.options);
    const Bytes pixels = Scene(c.edges);
    const Bytes frame = Compress(pixels, {kYuy2, kWidth, kHeight, c.flags, 95});
    WriteAvi("f.avi", std::vector<Bytes>(kFrames, frame), kFormat);
    RunWell(std::string("decode f.avi f.y4m -qf ") + c.options);
    ExpectHas(Y4mHeader("f.y4m"), c.order);
    if (!c.edges) continue;
    Bytes lines;
    for (size_t y = 0; y < kHeight; ++y) lines.push_back(pixels[2 * y * kWidth]);
    const Bytes luma = FirstLuma("f.y4m", kWidth, kHeight);
    int64_t difference = 0;
    for (size_t y = 0; y < kHeight; ++y) difference += std::abs(luma[y] - lines[y]);
    EXPECT_EQ(difference < 2 * kHeight, c.right) << difference;
  }
}

TEST_F(Fields, NoFrameThatWasLookedAtIsLost) {
  const Bytes frame = Compress(Scene(true), {kYuy2, kWidth, kHeight, TKMJPG_C_FIELDS});
  WriteAvi("f.avi", std::vector<Bytes>(20, frame), kFormat);
  RunWell("decode f.avi f.y4m -q");
  EXPECT_EQ(RunWell("compare f.avi f.y4m").substr(0, 16), "20 frames: Y inf");
}

// An image of the full height is a whole frame, also where its code says field.
TEST_F(Fields, WholeImagesAreNoFields) {
  const Bytes pixels = Scene(true);
  const Bytes plain = Compress(pixels, {kYuy2, kWidth, kHeight});
  WriteAvi("plain.avi", {plain, plain}, kFormat);
  const std::string wanted = RunWell("md5 plain.avi");
  for (const uint8_t code : {uint8_t{1}, uint8_t{2}}) {
    const Bytes coded = Set(plain, Find(plain, {'A', 'V', 'I', '1'}) + 4, {code});
    for (const int height : {kHeight - 8, kHeight, kHeight + 8}) {
      SCOPED_TRACE(testing::Message() << int{code} << ", " << height);
      WriteAvi("coded.avi", {coded, coded}, {kWidth, height});
      RunWell("decode coded.avi coded.y4m -qf");
      const std::string header = Y4mHeader("coded.y4m");
      const std::string size = std::string("H").append(std::to_string(std::min(height, kHeight)));
      ExpectHas(header, size);
      ExpectHas(header, " Ip ");
      if (height != kHeight) continue;
      EXPECT_EQ(RunWell("md5 coded.avi"), wanted);
    }
  }
}

TEST_F(Fields, RepairKeepsWhatPlayersNeed) {
  RunWell("encode -q testcard:96x64@25:3 p.avi --fields bottom --no-huffman-tables");
  RunWell("repair -q p.avi r.avi");
  EXPECT_NE(Output("r.avi"), Output("p.avi"));
  const std::string same = RunWell("compare p.avi r.avi");
  ExpectHas(same, "Y inf");
  ExpectHas(Text("r.avi"), "tkmjpg: odd lines, earlier");
  ExpectHas(Text("r.avi"), "CS=ITU601");

  // Without an extended header players put the first image on line 1.
  const struct {
    uint32_t flags;
    bool before, after;
  } cases[] = {{TKMJPG_C_FIELDS, false, false},
               {TKMJPG_C_FIELDS, true, true},
               {TKMJPG_C_FIELDS | TKMJPG_C_SWAP_LINES, false, true},
               {0, false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.flags << " " << c.before);
    const Bytes frame = Compress(Scene(true), {kYuy2, kWidth, kHeight, c.flags});
    tkmjpg::tool::VideoFormat format = kFormat;
    format.extended_header = c.before;
    WriteAvi("h.avi", std::vector<Bytes>(kFrames, frame), format);
    RunWell("repair -qf h.avi i.avi");
    const Bytes bytes = Output("i.avi");
    const size_t strf = Find(bytes, {'s', 't', 'r', 'f'});
    EXPECT_EQ(bytes.at(strf + 8), c.after ? 68 : 40);
    EXPECT_EQ(bytes.at(strf + 4), c.after ? 68 : 40);
  }
}

}  // namespace
