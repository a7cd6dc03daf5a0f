// The command itself, as a user runs it.
#include <gtest/gtest.h>

#include "tests/command_runner.h"
#include "tkmjpg.h"

namespace {

using Bytes = std::vector<uint8_t>;

class EncodeCommand : public CommandTest {};

std::string Y4m(const std::string& tags, int frames, int width, int height) {
  std::string text = "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) +
                     " F25:1 " + tags + "\n";
  for (int f = 0; f < frames; ++f) {
    text += "FRAME\n";
    for (int i = 0; i < width * height * 3 / 2; ++i) text += static_cast<char>(i * (f + 3) % 200);
  }
  return text;
}

TEST_F(EncodeCommand, RefusesInOneLine) {
  WriteFile("good.y4m", Y4m("", 2, 16, 16));
  WriteFile("deep.y4m", Y4m("C420p10", 1, 16, 16));
  WriteFile("mixed.y4m", Y4m("Im", 1, 16, 16));
  WriteFile("none.y4m", Y4m("", 0, 16, 16));
  WriteFile("junk.y4m", "no film at all");
  WriteFile("junk.png", "no picture at all");
  WriteFile("huge.y4m", "YUV4MPEG2 W60000 H60000\n");
  WriteFile("odd.y4m", Y4m("", 1, 16, 16) + "FRAMES\n");
  WriteFile("there.avi", "");
  const struct {
    const char* arguments;
    int code;
    const char* message;
  } cases[] = {
      {"", 2, "subcommand"},
      {"encode", 2, "INPUT is required"},
      {"encode good.y4m", 2, "OUTPUT is required"},
      {"encode good.y4m out.foo", 2, "out.foo: the name of the output ends in"},
      {"encode good.y4m x.avi --quality 0", 2, "--quality"},
      {"encode good.y4m x.avi --quality 101", 2, "--quality"},
      {"encode good.y4m x.avi --mode 8", 2, "--mode"},
      {"encode good.y4m x.avi --threads 0", 2, "--threads"},
      {"encode good.y4m x.avi --bitrate 25X", 2, "--bitrate: '25X'"},
      {"encode good.y4m x.avi --bitrate 1M --quality 5", 2, "excludes"},
      {"encode good.y4m x.avi --strong", 2, "--strong needs"},
      {"encode good.y4m x.avi --fields top --progressive", 2, "excludes"},
      {"encode good.y4m x.avi --fields left", 2, "--fields"},
      {"encode good.y4m x.avi --alpha", 2, "--alpha"},
      {"encode good.y4m x.avi --nonsense", 2, "--nonsense"},
      {"--cpu mmx encode good.y4m x.avi", 2, "'mmx' is none of"},
      {"encode good.y4m there.avi", 2, "there.avi: exists; --force"},
      {"encode good.y4m out.jpg", 2, "out.jpg: holds one frame only"},
      {"encode nothing.y4m x.avi", 1, "nothing.y4m: No such file"},
      {"encode good.y4m no/x.avi", 1, "no/x.avi: No such file"},
      {"encode . x.avi", 1, "is a folder"},
      {"encode /dev/null x.avi", 1, "/dev/null: is empty"},
      {"encode junk.y4m x.avi", 1, "junk.y4m: is no Y4M"},
      {"encode junk.png x.avi", 1, "junk.png: "},
      {"encode none.y4m x.avi", 1, "none.y4m: holds no frame"},
      {"encode deep.y4m x.avi", 1, "deep.y4m: C420p10 has more than 8 bits"},
      {"encode mixed.y4m x.avi", 1, "mixed.y4m: Im"},
      {"encode huge.y4m x.avi", 1, "60000x60000 is too large"},
      {"encode odd.y4m x.avi", 1, "no FRAME where frame 1 should begin, at byte 415"},
      {"encode - x.avi <junk.y4m", 1, "standard input: is no Y4M"},
  };
  for (const auto& c : cases) ExpectRefusal(c.arguments, c.code, c.message);
}

TEST_F(EncodeCommand, SameBytesForAnyNumberOfThreads) {
  for (const char* options : {"", "--alpha --quality 40", "--fields bottom", "--target-size 9k",
                              "--bitrate 1.5M --strong --fields top --mode 7"}) {
    SCOPED_TRACE(options);
    const std::string line = std::string("encode -q -f testcard:176x144@25:20 ") + options;
    ASSERT_EQ(Run(line + " 1.avi --threads 1").code, 0);
    EXPECT_GT(Output("1.avi").size(), 20000U);
    for (const char* threads : {"2", "5"}) {
      ASSERT_EQ(Run(line + " n.avi --threads " + threads).code, 0);
      EXPECT_EQ(Output("n.avi"), Output("1.avi")) << threads;
    }
  }
}

TEST_F(EncodeCommand, OutputsHoldTheSameFrames) {
  WriteFile("a.y4m", Y4m("", 3, 40, 24));
  ASSERT_EQ(Run("encode -q a.y4m a.mjpg").code, 0);
  ASSERT_EQ(Run("encode -q - - <a.y4m").code, 0);
  const Bytes piped = Output("out.txt");
  ASSERT_EQ(Run("encode -q a.y4m a%02d.jpg").code, 0);
  Bytes joined;
  for (const char* name : {"a00.jpg", "a01.jpg", "a02.jpg"}) {
    const Bytes frame = Output(name);
    joined.insert(joined.end(), frame.begin(), frame.end());
  }
  EXPECT_EQ(Output("a.mjpg"), joined);
  EXPECT_EQ(piped, joined);
  ASSERT_FALSE(joined.empty());
}

TEST_F(EncodeCommand, KeepsWhatComesBeforeTheDamage) {
  const std::string film = Y4m("", 5, 32, 32);
  WriteFile("whole.y4m", film.substr(0, film.size() / 5 * 3));  // three frames and some more
  WriteFile("cut.y4m", film.substr(0, film.size() - 1));
  const Result failed = Run("encode -q cut.y4m cut.mjpg");
  EXPECT_EQ(failed.code, 1);
  EXPECT_NE(failed.errors.find("ends within frame 4"), std::string::npos) << failed.errors;
  EXPECT_FALSE(Exists("cut.mjpg"));

  const Result kept = Run("encode -q --keep-going cut.y4m cut.mjpg");
  EXPECT_EQ(kept.code, 1);
  EXPECT_EQ(kept.errors, failed.errors);
  WriteFile("four.y4m", Y4m("", 4, 32, 32));
  ASSERT_EQ(Run("encode -q four.y4m four.mjpg").code, 0);
  EXPECT_EQ(Output("cut.mjpg"), Output("four.mjpg"));
}

// The luma of each line as the decoder gives it back with these flags.
std::vector<int> DecodedLines(const Bytes& stream, int size, uint32_t flags) {
  Bytes pixels(size_t(size) * size * 2);
  EXPECT_EQ(
      DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), pixels.data(),
                            size * 2, size, size, flags, TKMJPG_YUY2, 0, nullptr),
      1U);
  std::vector<int> lines;
  for (int y = 0; y < size; ++y) lines.push_back(pixels[size_t(size) * 2 * y]);
  return lines;
}

// Even lines are dark, odd ones bright, and must be so again without the decoder being told how
// the film was coded.
TEST_F(EncodeCommand, FieldsReturnToTheirLines) {
  constexpr int kSize = 16, kCode = 10;  // of the field code: behind SOI, APP0 header and "AVI1"
  std::string picture = "FRAME\n";
  for (int y = 0; y < kSize; ++y) picture += std::string(kSize, y % 2 == 0 ? 50 : 100);
  picture += std::string(kSize * kSize / 2, '\x60');
  const uint32_t none = 0, markers = TKMJPG_D_USE_AVI1_MARKERS, invert = TKMJPG_D_INVERT_FIELDS;
  const struct {
    const char *tags, *options;
    int first_code;
    std::vector<uint32_t> flags;
  } cases[] = {{"It", "", 1, {none, markers}},
               {"Ib", "", 1, {none, markers}},
               {"Ip", "", 0, {none, markers, invert}},
               {"I?", "--fields top", 1, {none, markers}},
               {"It", "--progressive", 0, {none, markers, invert}},
               {"Im", "--fields bottom", 1, {none, markers}},
               {"It", "--top-image-first", 2, {markers, invert}},
               {"Ib", "--top-image-first", 2, {markers, invert}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.tags) + " " + c.options);
    WriteFile("f.y4m", std::string("YUV4MPEG2 W16 H16 ") + c.tags + "\n" + picture);
    ASSERT_EQ(Run(std::string("encode -qf --quality 100 f.y4m f.mjpg ") + c.options).code, 0);
    const Bytes stream = Output("f.mjpg");
    ASSERT_GT(stream.size(), size_t{kCode});
    EXPECT_EQ(stream[kCode], c.first_code);
    for (const uint32_t flags : c.flags) {
      const std::vector<int> lines = DecodedLines(stream, kSize, flags);
      for (int y = 0; y < kSize; ++y) EXPECT_NEAR(lines[y], y % 2 == 0 ? 50 : 100, 3) << y;
    }
  }
}

TEST_F(EncodeCommand, AnInterruptedFilmIsWhole) {
  const int status = std::system(("timeout --preserve-status -s INT 0.5 " TKMJPG_COMMAND
                                  " encode testcard:64x48@25:1000000000 " +
                                  folder_.Path("x.avi") + " 2>/dev/null")
                                     .c_str());
  EXPECT_EQ(WEXITSTATUS(status), 130);
  const Result info = Run("info x.avi");
  EXPECT_EQ(info.code, 0);
  EXPECT_EQ(info.out.find("cut"), std::string::npos) << info.out;
}

}  // namespace
