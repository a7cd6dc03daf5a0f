// JPEG of other writers that the codec itself does not read. What it becomes is held against what
// other programs make of it.
#include <random>

#include "frame/stream_format.h"
#include "tests/command_runner.h"
#include "tests/frame_calls.h"
#include "tools/tkmjpg/commands/code_again.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/streams/lossless_recode.h"

namespace tkmjpg::tool {
namespace {

constexpr int kWidth = 98, kHeight = 75;

Picture Decode(const Bytes& stream, uint32_t layout, uint32_t flags = 0, int height = kHeight) {
  Picture picture;
  const DecodedFrame decoded =
      FrameDecoder(kWidth, height, layout, flags).Decode(stream, 256, picture);
  EXPECT_EQ(decoded.refusal, "");
  EXPECT_TRUE(decoded.damage.empty());
  return picture;
}

// B G R to R G B.
Bytes Rgb(Picture picture) {
  for (size_t i = 0; i + 2 < picture.pixels.size(); i += 3) {
    std::swap(picture.pixels[i], picture.pixels[i + 2]);
  }
  return picture.pixels;
}

class OtherJpeg : public CommandTest {
 protected:
  void SetUp() override {
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
    const char* filter = " -vf noise=alls=8,format=rgb24,scale=98:75 -frames:v 1 ";
    if (Shell("cjpeg -version && wrjpgcom -help; ffmpeg -v error -f lavfi -i testsrc2=size=" +
              size + filter + "x.ppm && ffmpeg -v error -i x.ppm -vf negate negative.ppm")
            .code != 0) {
      GTEST_SKIP() << "no ffmpeg or no cjpeg";
    }
  }

  Bytes Jpeg(const std::string& options, const std::string& source = "x.ppm") const {
    EXPECT_EQ(Shell("cjpeg -quality 90 " + options + " " + source + " >x.jpg").code, 0) << options;
    return Output("x.jpg");
  }

  // The pixels of a PPM as another program decodes it.
  Bytes DecodedElsewhere(const Bytes& stream) const {
    WriteFile("y.jpg", stream);
    EXPECT_EQ(Shell("djpeg -rgb -ppm y.jpg >y.ppm").code, 0);
    const Bytes ppm = Output("y.ppm");
    const size_t header = Find(ppm, {'2', '5', '5', '\n'}) + 4;
    return Slice(ppm, header, ppm.size());
  }
};

TEST_F(OtherJpeg, BecomesThePictureThatOthersSee) {
  const struct {
    const char* options;
    const char* chroma;  // of Y4M
  } cases[] = {
      {"", "420jpeg"},
      {"-progressive", "420jpeg"},
      {"-arithmetic", "420jpeg"},
      {"-arithmetic -progressive -restart 1", "420jpeg"},
      {"-optimize -restart 1", "420jpeg"},
      {"-sample 1x1", "444"},
      {"-sample 1x1 -progressive -restart 3B", "444"},
      {"-sample 1x2", "444"},
      {"-sample 2x1 -progressive", "422"},
      {"-sample 2x1 -arithmetic", "422"},
      {"-sample 2x2,1x2,2x1", "444"},
      {"-grayscale", "mono"},
      {"-grayscale -progressive -sample 2x2", "mono"},
      {"-rgb", "444"},
      {"-rgb -sample 2x1", "444"},
      {"-sample 4x1", "411"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    const Bytes stream = Jpeg(c.options), wanted = DecodedElsewhere(stream);
    const bool coarse = std::string(c.chroma) == "411";  // djpeg does not interpolate there
    EXPECT_GE(Psnr(Rgb(Decode(stream, TKMJPG_BGR3, TKMJPG_D_FULL_RANGE)), wanted),
              coarse ? 20 : 45);
    RunWell("decode x.jpg x.y4m -qf");
    const std::string header = Text("x.y4m").substr(0, 80);
    ExpectHas(header, " C" + std::string(c.chroma));
  }
}

// Planes and packed 4:2:2, as ffmpeg has them.
TEST_F(OtherJpeg, KeepsTheSamplesOfFilms) {
  const struct {
    const char* format;
    const char* codec;  // what makes a film of it
  } cases[] = {{"yuvj420p", "-c:v mjpeg"}, {"yuvj444p", "-c:v mjpeg -huffman default"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    const std::string format = std::string(" -pix_fmt ") + c.format + " ";
    const auto ffmpeg = [&](const std::string& line) {
      EXPECT_EQ(Shell("ffmpeg -v error -y " + line).code, 0) << line;
    };
    ffmpeg("-f lavfi -i testsrc2=size=96x74:duration=0.2 " + (c.codec + format) + "-q:v 2 f.avi");
    RunWell("decode f.avi f.y4m -qf");
    ffmpeg("-i f.y4m -f rawvideo a.yuv");
    ffmpeg("-i f.avi -f rawvideo" + format + "b.yuv");
    EXPECT_GE(Psnr(Output("a.yuv"), Output("b.yuv")), 55);
    RunWell("decode f.avi f.raw -qf");
    ffmpeg("-f rawvideo -s 96x74" + format + "-i b.yuv -f rawvideo -pix_fmt yuvj422p c.yuv");
    ffmpeg("-f rawvideo -s 96x74 -pix_fmt yuv422p -i c.yuv -f rawvideo -pix_fmt yuyv422 d.raw");
    EXPECT_GE(Psnr(Output("f.raw"), Output("d.raw")), 42);  // chroma by another filter
  }
}

Bytes WithoutTables(const Bytes& image) {
  Bytes kept = Head(image, 2);
  const ImageAnalysis analysis = AnalyseImage(image, 0);
  for (const Segment& s : analysis.segments) {
    if (s.marker != kDqt && s.marker != kDht) kept = kept + Slice(image, s.offset, s.end);
  }
  return kept + Slice(image, analysis.scan_begin, image.size());
}

// The first image has the odd lines; the second one may take its tables from it.
TEST_F(OtherJpeg, FieldPairs) {
  for (const char* options : {"", "-sample 1x1 -optimize", "-grayscale", "-progressive"}) {
    SCOPED_TRACE(options);
    const bool one_scan = std::string(options) != "-progressive";
    const Bytes field = Jpeg(options), other = one_scan ? WithoutTables(field) : field;
    const Bytes wanted = DecodedElsewhere(field);
    const Picture pair = Decode(field + other, TKMJPG_BGR3, TKMJPG_D_FULL_RANGE, 2 * kHeight);
    const Picture alone = Decode(field, TKMJPG_BGR3, TKMJPG_D_FULL_RANGE, 2 * kHeight);
    EXPECT_EQ(pair.pixels, alone.pixels);
    Bytes odd_lines;
    const Bytes rgb = Rgb(pair);
    for (size_t y = 1; y < 2 * kHeight; y += 2) {
      odd_lines = odd_lines + Slice(rgb, y * kWidth * 3, (y + 1) * kWidth * 3);
    }
    EXPECT_GE(Psnr(odd_lines, wanted), 45);
  }
}

TEST_F(OtherJpeg, FirstImageIsOnTheOddLinesUnlessToldOtherwise) {
  const Bytes first = Jpeg("", "x.ppm"), second = Jpeg("", "negative.ppm");
  const Bytes plain = Decode(first, TKMJPG_YuYv).pixels;
  for (const uint32_t flags : {0U, uint32_t{TKMJPG_D_INVERT_FIELDS}}) {
    const Bytes pair = Decode(first + second, TKMJPG_YuYv, flags, 2 * kHeight).pixels;
    const size_t line = flags == 0 ? 1 : 0, stride = size_t{2} * kWidth;
    EXPECT_EQ(Slice(pair, line * stride, (line + 1) * stride), Head(plain, stride));
    EXPECT_NE(Slice(pair, (1 - line) * stride, (2 - line) * stride), Head(plain, stride));
  }
}

// The coefficients stay, so another program sees the very same pixels.
TEST_F(OtherJpeg, FourTwoTwoIsRepairedWithoutLoss) {
  for (const char* codes : {"-progressive", "-arithmetic", "-arithmetic -progressive", "-optimize",
                            "-progressive -restart 1"}) {
    SCOPED_TRACE(codes);
    const Bytes stream = Jpeg(std::string("-sample 2x1 ") + codes);
    RunWell("repair x.jpg r.jpg -qf");
    const FrameAnalysis repaired = AnalyseFrame(Output("r.jpg"));
    EXPECT_EQ(repaired.refusal + repaired.OtherShape(), "");
    EXPECT_EQ(DecodedElsewhere(Output("r.jpg")), DecodedElsewhere(stream));
  }
}

TEST_F(OtherJpeg, OthersAreCodedAgainOnDemand) {
  const struct {
    const char* options;
    const char* refusal;
  } cases[] = {{"", "frame 0: 4:2:0 image cannot be kept without loss"},
               {"-progressive -sample 1x1", "frame 0: 4:4:4 image cannot be kept"},
               {"-grayscale", "frame 0: greyscale image cannot be kept"},
               {"-rgb", "frame 0: 4:4:4 RGB image cannot be kept"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    Jpeg(c.options);
    ASSERT_EQ(Shell("wrjpgcom -comment CS=ITU601 x.jpg >c.jpg").code, 0);
    ExpectRefusal("repair c.jpg r.jpg -q", 1, c.refusal);
    RunWell("repair c.jpg r.jpg -q --recode");
    const Bytes before = Output("c.jpg"), after = Output("r.jpg");
    std::filesystem::remove(folder_.Path("r.jpg"));
    EXPECT_EQ(AnalyseFrame(after).problems, std::vector<std::string>{});
    EXPECT_LT(Find(after, {'C', 'S', '=', 'I', 'T', 'U', '6', '0', '1'}), after.size());
    EXPECT_EQ(CompareCodedAgain(before, after), "");
    EXPECT_EQ(CompareCodedAgain(Jpeg(c.options, "negative.ppm"), after),
              "decodes to another picture");
    EXPECT_GE(Psnr(DecodedElsewhere(before), DecodedElsewhere(after)), 20);
  }
}

// Whatever happens to them: a picture with damage, or a refusal that names it.
TEST_F(OtherJpeg, DamageIsNamed) {
  std::minstd_rand random(3);
  for (const char* options : {"", "-progressive", "-arithmetic", "-sample 2x1 -progressive"}) {
    const Bytes stream = Jpeg(options);
    const size_t scan = AnalyseImage(stream, 0).scan_begin;
    int named = 0;
    for (int round = 0; round < 40; ++round) {
      Bytes damaged = stream;
      if (round % 2 == 0) damaged.resize(scan + random() % (stream.size() - scan - 2));
      for (int i = 0; i < 9; ++i) damaged[scan + random() % (damaged.size() - scan)] = 0x55;
      Picture picture;
      const DecodedFrame decoded =
          FrameDecoder(kWidth, kHeight, TKMJPG_YuYv, 0).Decode(damaged, 256, picture);
      named += decoded.damage.empty() && decoded.refusal.empty() ? 0 : 1;
    }
    EXPECT_GE(named, 20) << options;  // each that is cut
  }
}

// Scans without data cost time and no bytes.
TEST_F(OtherJpeg, ScansAreCounted) {
  const Bytes stream = Jpeg("-progressive");
  const ImageAnalysis image = AnalyseImage(stream, 0);
  const Segment& last = image.segments.back();
  Bytes scans;
  for (int i = 0; i < 3000; ++i) scans = scans + Slice(stream, last.offset, last.end);
  Picture picture;
  const DecodedFrame decoded = FrameDecoder(kWidth, kHeight, TKMJPG_YuYv, 0)
                                   .Decode(Insert(stream, stream.size() - 2, scans), 256, picture);
  EXPECT_EQ(decoded.refusal, "too many scans");
}

}  // namespace
}  // namespace tkmjpg::tool
