// Raw frames in: headers, chroma positions, pictures and the test card.
#include <png.h>

#include <filesystem>

#include "tests/bytes.h"
#include "tests/expect.h"
#include "tests/temporary_folder.h"
#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_input.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/planar_rows.h"
#include "tools/tkmjpg/media/sequence_name.h"
#include "tools/tkmjpg/media/y4m_header.h"

namespace tkmjpg::tool {
namespace {

constexpr auto kBetween = ChromaLines::kBetween;

TEST(Y4mHeader, TellsTheFormat) {
  const struct {
    const char* line;
    FieldOrder order = FieldOrder::kProgressive;
    Chroma chroma = Chroma::k420;
    ChromaLines lines = kBetween;
    bool full_range = false;
  } cases[] = {{"YUV4MPEG2 W16 H8 F30000:1001 A16:15"},
               {"YUV4MPEG2 H8 W16 A16:15 F30000:1001 It C420mpeg2 XCOLORRANGE=LIMITED",
                FieldOrder::kTopFirst},
               {"YUV4MPEG2 W16 H8 F30000:1001 Ib A16:15 C420paldv", FieldOrder::kBottomFirst,
                Chroma::k420, ChromaLines::kAlternate},
               {"YUV4MPEG2 W16 H8 F30000:1001 A16:15 Ip C422 XYSCSS=422 XCOLORRANGE=FULL",
                FieldOrder::kProgressive, Chroma::k422, kBetween, true},
               {"YUV4MPEG2 W16 H8 F30000:1001 A16:15 I? Zlater Cmono", FieldOrder::kProgressive,
                Chroma::kMono}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const Y4mHeader header = ParseY4mHeader(c.line);
    const VideoFormat& video = header.video;
    EXPECT_EQ((std::array{int64_t{video.width}, int64_t{video.height}, video.rate.num,
                          video.rate.den, video.pixel_aspect.num, video.pixel_aspect.den}),
              (std::array<int64_t, 6>{16, 8, 30000, 1001, 16, 15}));
    EXPECT_EQ(video.field_order, c.order);
    EXPECT_EQ(header.planes.chroma, c.chroma);
    EXPECT_EQ(header.planes.chroma_lines, c.lines);
    EXPECT_EQ(header.planes.full_range, c.full_range);
  }
  const VideoFormat unknown = ParseY4mHeader("YUV4MPEG2 W2 H2 F0:0 A0:0").video;
  EXPECT_EQ(unknown.rate.num, 25 * unknown.rate.den);
  EXPECT_EQ(unknown.pixel_aspect.num, 0);
}

TEST(Y4mHeader, RefusesByName) {
  const std::pair<const char*, const char*> cases[] = {
      {"YUV4MPEG W2 H2", "no Y4M"},
      {"YUV4MPEG2 H2", "no picture size"},
      {"YUV4MPEG2 W2 H0", "no picture size"},
      {"YUV4MPEG2 W2 H-2", "'H-2'"},
      {"YUV4MPEG2 W2x H2", "'W2x'"},
      {"YUV4MPEG2 W2 H2 F25", "'F25'"},
      {"YUV4MPEG2 W2 H2 Ix", "'Ix'"},
      {"YUV4MPEG2 W2 H2 Cmono12", "Cmono12 has more than 8 bits"},
      {"YUV4MPEG2 W2 H2 C410", "C410 is no known"},
      {"YUV4MPEG2 W2 H2 C444alpha", "C444alpha is no known"}};
  for (const auto& [text, message] : cases) {
    ExpectHas(ThrownBy<std::invalid_argument>([&text = text] { ParseY4mHeader(text); }), message);
  }
}

// Chroma that grows evenly from line to line must come out as if it had been sampled on each line,
// if the positions of its lines are taken for what they are.
TEST(PackPlanar, ChromaLiesWhereItsSitingSays) {
  constexpr int kHeight = 24, kEdge = 4;
  const struct {
    const char* name;
    ChromaLines lines;
    bool interlaced;
    int odd;        // lines of the frame from an even chroma row to the next row
    double cb, cr;  // line of the first row
  } cases[] = {{"progressive", kBetween, false, 2, 0.5, 0.5},
               {"interlaced", kBetween, true, 2, 0.5, 0.5},
               {"progressive DV", ChromaLines::kAlternate, false, 2, 1, 0},
               {"interlaced DV", ChromaLines::kAlternate, true, 1, 2, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const PlanarFormat format{2, kHeight, Chroma::k420, c.lines, c.interlaced, false};
    Bytes planes(PlanarSize(format), 99), packed(kHeight * 4);
    for (int row = 0; row < kHeight / 2; ++row) {
      const int line = 4 * (row / 2) + row % 2 * c.odd;
      planes[kHeight * 2 + row] = static_cast<uint8_t>(20 + 8 * (line + c.cb));
      planes[kHeight * 2 + kHeight / 2 + row] = static_cast<uint8_t>(40 + 8 * (line + c.cr));
    }
    PackPlanar(format, planes.data(), packed.data());
    for (int y = kEdge; y < kHeight - kEdge; ++y) {
      EXPECT_EQ(packed[4 * y + 1], 20 + 8 * y) << "Cb of line " << y;
      EXPECT_EQ(packed[4 * y + 3], 40 + 8 * y) << "Cr of line " << y;
    }
  }
}

TEST(PackPlanar, OneLine) {
  struct Case {
    const char* name;
    int width;
    Chroma chroma;
    bool interlaced, full_range;
    Bytes planes, packed;
  };
  constexpr auto k422 = Chroma::k422, k444 = Chroma::k444;
  const Case cases[] = {
      {"4:2:2", 4, k422, false, false, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 5, 2, 7, 3, 6, 4, 8}},
      {"mono", 2, Chroma::kMono, false, false, {1, 2}, {1, 128, 2, 128}},
      {"odd", 3, k444, false, false, {1, 2, 3, 10, 20, 30, 40, 50, 60}, {1, 15, 2, 45, 3, 30}},
      {"4:1:1",
       6,
       Chroma::k411,
       false,
       false,
       {1, 2, 3, 4, 5, 6, 8, 16, 40, 80},
       {1, 8, 2, 40, 3, 10, 4, 50, 5, 14, 6, 70}},
      {"one 4:2:0 line", 2, Chroma::k420, true, false, {1, 2, 3, 4}, {1, 3, 2, 4}},
      {"full", 2, k422, false, true, {0, 255, 0, 255}, {16, 16, 235, 240}},
      {"full", 2, k422, false, true, {128, 1, 128, 128}, {126, 128, 17, 128}},
  };
  for (const Case& c : cases) {
    const PlanarFormat format{c.width, 1, c.chroma, kBetween, c.interlaced, c.full_range};
    SCOPED_TRACE(c.name);
    ASSERT_EQ(PlanarSize(format), c.planes.size());
    Bytes packed(c.packed.size());
    PackPlanar(format, c.planes.data(), packed.data());
    EXPECT_EQ(packed, c.packed);
  }
}

// Every small size stays within its planes; the sanitizers watch.
TEST(PackPlanar, AllSmallSizes) {
  for (const Chroma chroma :
       {Chroma::kMono, Chroma::k411, Chroma::k420, Chroma::k422, Chroma::k444}) {
    for (int size = 0; size < 9 * 9 * 2; ++size) {
      const PlanarFormat format{1 + size % 9, 1 + size / 9 % 9, chroma, kBetween, size >= 81, true};
      const Bytes planes(PlanarSize(format), 128);
      Bytes packed(size_t(format.width) * format.height * 2, 1);
      PackPlanar(format, planes.data(), packed.data());
      EXPECT_EQ(packed.back(), 128);
    }
  }
}

TEST(SequenceName, Numbers) {
  const std::pair<const char*, const char*> cases[] = {{"a.png", "a.png"},
                                                       {"a%d.png", "a7.png"},
                                                       {"%04d", "0007"},
                                                       {"a%3db", "a  7b"},
                                                       {"d.1/f_%02d.x", "d.1/f_07.x"}};
  for (const auto& [pattern, name] : cases) EXPECT_EQ(SequenceName(pattern).Name(7), name);
  for (const char* bad : {"%", "%s", "%4", "%d%d", "%-4d", "a%999999d", "100%"}) {
    EXPECT_THROW(SequenceName{bad}, UsageError) << bad;
  }
}

TEST(OutputFile, HasItsNameOnlyWhenWhole) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("x");
  const Bytes bytes{1, 2, 3};
  {
    OutputFile given_up(path, Overwrite::kRefuse);
    given_up.Write(bytes);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("")));
  OutputFile file(path, Overwrite::kRefuse);
  file.Write(bytes);
  file.Patch(1, Bytes{9});
  EXPECT_FALSE(std::filesystem::exists(path));
  file.Finish();
  EXPECT_EQ(ReadBytes(path), (Bytes{1, 9, 3}));
  EXPECT_THROW(OutputFile(path, Overwrite::kRefuse), UsageError);
  { OutputFile given_up(path, Overwrite::kReplace); }
  EXPECT_EQ(ReadBytes(path), (Bytes{1, 9, 3}));
}

// The pictures of an input, one after the other.
std::vector<Picture> Pictures(const std::string& name, const InputOptions& options = {}) {
  const auto reader = OpenFrameReader(name, options);
  std::vector<Picture> pictures;
  for (Bytes raw; reader->Read(raw);) reader->Unpack(raw, pictures.emplace_back());
  EXPECT_EQ(reader->FrameCount(), static_cast<int64_t>(pictures.size()));
  return pictures;
}

void WritePng(const std::string& path, uint32_t width, uint32_t format, const Bytes& pixels) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = 1;
  image.format = format;
  ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr), 0);
}

TEST(PngReader, LayoutsAndSequences) {
  const TemporaryFolder folder;
  const std::string pattern = folder.Path("f%02d.png");
  WritePng(folder.Path("f01.png"), 2, PNG_FORMAT_RGBA, {1, 2, 3, 255, 4, 5, 6, 0});
  WritePng(folder.Path("f02.png"), 2, PNG_FORMAT_RGB, {7, 8, 9, 10, 11, 12});
  InputOptions options;
  const std::vector<Picture> opaque = Pictures(pattern, options);
  ASSERT_EQ(opaque.size(), 2U);
  EXPECT_EQ(opaque[0].pixels, (Bytes{3, 2, 1, 0, 0, 0}));
  EXPECT_EQ(opaque[1].pixels, (Bytes{9, 8, 7, 12, 11, 10}));
  options.alpha = true;
  const Picture with_alpha = Pictures(pattern, options)[0];
  EXPECT_EQ(with_alpha.layout, uint32_t{TKMJPG_BGRA});
  EXPECT_EQ(with_alpha.pixels, (Bytes{3, 2, 1, 255, 6, 5, 4, 0}));

  WritePng(folder.Path("f03.png"), 1, PNG_FORMAT_GRAY, {7});
  EXPECT_EQ(Pictures(folder.Path("f03.png"))[0].pixels, (Bytes{7, 7, 7}));
  EXPECT_THROW(Pictures(pattern), InputError) << "another size";
}

TEST(OpenFrameReader, RefusesBadUsage) {
  for (const char* card : {"testcard:", "testcard:16x16@0", "testcard:16x16@25:0",
                           "testcard:16x16@25:x", "testcard:16@25"}) {
    EXPECT_THROW(OpenFrameReader(card, {}), UsageError) << card;
  }
  const InputOptions raw[] = {{"16", "", "", {}, false},
                              {"16x16", "0", "", {}, false},
                              {"16x16", "25", "nv12", {}, false},
                              {"16x16", "25", "YUY2", {}, true},
                              {"", "", "YUY2", {}, false},
                              {"", "25", "", {}, false},
                              {"", "", "", {}, true}};
  for (const InputOptions& options : raw) {
    EXPECT_THROW(OpenFrameReader("/dev/null", options), UsageError) << &options - raw;
  }
}

// The same picture on every machine, with motion, and with fields half a frame apart.
TEST(TestCard, IsTheSameForEver) {
  const std::vector<Picture> pictures = Pictures("testcard:180x144@30000/1001:2");
  ASSERT_EQ(pictures.size(), 2U);
  const auto checksum = [](const Bytes& bytes) {  // FNV-1a
    uint32_t sum = 2166136261U;
    for (const uint8_t byte : bytes) sum = (sum ^ byte) * 16777619U;
    return sum;
  };
  EXPECT_EQ(checksum(pictures[0].pixels), 522770717U);
  EXPECT_EQ(checksum(pictures[1].pixels), 3828960078U);

  // The later field's lines are those of half a frame later.
  InputOptions options;
  options.field_order = FieldOrder::kBottomFirst;
  const Picture& frame = pictures[0];
  const Picture fields = Pictures("testcard:180x144@25:1", options)[0];
  for (const int y : {100, 101}) {
    const size_t at = y * frame.stride, end = at + frame.stride;
    EXPECT_EQ(Slice(frame.pixels, at, end) == Slice(fields.pixels, at, end), y == 101);
  }
}

}  // namespace
}  // namespace tkmjpg::tool
