// decode, md5, info, compare and repair, as a user runs them.
#include <gtest/gtest.h>

#include "tests/command_runner.h"
#include "tkmjpg.h"
#include "tools/tkmjpg/media/avi_writer.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kWidth = 48, kHeight = 32, kFrames = 7;

Bytes Pixels(int n) {
  Bytes pixels(kWidth * kHeight * 2);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(60 + 10 * n + i % 96 + (i / 96) * 3);
  }
  return pixels;
}

Bytes Encode(int n, uint32_t flags) {
  const Bytes pixels = Pixels(n);
  Bytes stream(1 << 16);
  stream.resize(CompressBuffer_MJPG(pixels.data(), kWidth * 2, stream.data(), 1 << 16, kWidth,
                                    kHeight, 80, flags, TKMJPG_YUY2, 0, nullptr));
  return stream;
}

class DecodeCommand : public CommandTest {
 protected:
  // Frame n with flags[n % flags.size()]. AVI tells the height where single fields do not.
  void WriteFilm(const std::vector<uint32_t>& flags) const {
    tkmjpg::tool::AviWriter writer(folder_.Path("film.avi"),
                                   tkmjpg::tool::MjpgAviVideo({kWidth, kHeight}),
                                   tkmjpg::tool::Overwrite::kReplace);
    for (size_t n = 0; n < kFrames; ++n) {
      writer.Write(Encode(static_cast<int>(n), flags[n % flags.size()]));
    }
    writer.Finish();
  }
};

// What the library makes of the frames in sequence, with one carry record.
Bytes Sequence(const std::vector<uint32_t>& flags, uint32_t decode_flags, uint32_t layout) {
  CodecCarryState carry = {256, 0};
  Bytes film;
  for (int n = 0; n < kFrames; ++n) {
    const Bytes stream = Encode(n, flags[static_cast<size_t>(n) % flags.size()]);
    Bytes pixels(kWidth * kHeight * 2);
    DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), pixels.data(),
                          kWidth * 2, kWidth, kHeight, decode_flags, layout, 0, &carry);
    film.insert(film.end(), pixels.begin(), pixels.end());
  }
  return film;
}

TEST_F(DecodeCommand, SamePixelsForAnyThreads) {
  constexpr uint32_t kPair = TKMJPG_C_FIELDS, kOne = TKMJPG_C_FIELDS | TKMJPG_C_ONE_FIELD;
  const struct {
    const char* name;
    std::vector<uint32_t> flags;
    const char* options;
    uint32_t decode_flags;
  } cases[] = {
      {"whole", {0}, "", 0},
      {"pairs", {kPair}, "", 0},
      {"inverted", {kPair}, "--invert-fields", TKMJPG_D_INVERT_FIELDS},
      {"markers", {kPair | TKMJPG_C_CODE2_FIRST}, "--use-avi1-markers", TKMJPG_D_USE_AVI1_MARKERS},
      {"first field", {kPair}, "--one-field", TKMJPG_D_ONE_FIELD},
      {"first field, smooth",
       {kPair},
       "--one-field --smart",
       TKMJPG_D_ONE_FIELD | TKMJPG_D_ONE_FIELD_SMART},
      {"single and pair", {kOne, kPair, kOne, kOne}, "--smart", TKMJPG_D_ONE_FIELD_SMART},
      {"singles", {kOne}, "--smart", TKMJPG_D_ONE_FIELD_SMART},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    WriteFilm(c.flags);
    const Bytes wanted = Sequence(c.flags, c.decode_flags, TKMJPG_YuYv);
    for (const char* threads : {"1", "2", "5"}) {
      const Result result =
          Run(std::string("decode film.avi film.raw -qf ") + c.options + " --threads " + threads);
      ASSERT_EQ(result.code, 0) << result.errors;
      EXPECT_EQ(Output("film.raw"), wanted) << threads;
    }
  }
}

TEST_F(DecodeCommand, RoundTripAndChecksum) {
  ASSERT_EQ(Run("encode testcard:45x30@30000/1001:5 a.avi -q --quality 90").code, 0);
  for (const char* output : {"a.y4m", "a_%02d.png"}) {
    ASSERT_EQ(Run(std::string("decode a.avi -q ") + output).code, 0);
  }
  EXPECT_EQ(Text("a.y4m").substr(0, 45), "YUV4MPEG2 W45 H30 F30000:1001 Ip A1:1 C422\nFR");
  const Result same = Run("compare a.avi a.y4m");
  EXPECT_NE(same.out.find("5 frames: Y inf"), std::string::npos) << same.out << same.errors;
  EXPECT_NE(Run("compare a.avi a_%02d.png --per-frame").out.find("frame 4: Y "), std::string::npos);
  const std::string digest = Run("md5 a.avi").out.substr(0, 32);
  EXPECT_EQ(Run("decode a.avi --verify " + digest).code, 0);
  EXPECT_EQ(Run("md5 a.avi --frames 1:3 --verify " + digest).code, 1);

  ASSERT_EQ(Run("repair a.avi b.mjpg -q --no-huffman-tables").code, 0);
  ASSERT_EQ(Run("repair b.mjpg c.mjpg -q").code, 0);
  ASSERT_EQ(Run("repair a.avi d.mjpg -q").code, 0);
  EXPECT_EQ(Output("c.mjpg"), Output("d.mjpg"));
  EXPECT_NE(Run("info b.mjpg").out.find("5 frames"), std::string::npos);
  EXPECT_NE(Run("info a.avi --json").out.find("\"index\": \"right\""), std::string::npos);
}

TEST_F(DecodeCommand, Frames) {
  WriteFilm({0});
  const Bytes all = Sequence({0}, 0, TKMJPG_YUY2);
  constexpr size_t kSize = kWidth * kHeight * 2;
  const struct {
    const char* range;
    size_t first, end;
  } cases[] = {{"0:6", 0, 7}, {"2:4", 2, 5}, {"5:", 5, 7},
               {":1", 0, 2},  {"3", 3, 4},   {"6:90", 6, 7}};
  for (const auto& c : cases) {
    const Result result =
        Run(std::string("decode film.avi film.raw -qf --layout YUY2 --frames ") + c.range);
    EXPECT_EQ(result.code, 0) << result.errors;
    const Bytes wanted(all.begin() + static_cast<long>(c.first * kSize),
                       all.begin() + static_cast<long>(c.end * kSize));
    EXPECT_EQ(Output("film.raw"), wanted) << c.range;
  }
}

TEST_F(DecodeCommand, RefusesInOneLine) {
  Bytes bad;
  for (int n = 0; n < kFrames; ++n) {
    const Bytes frame = Encode(n, 0);
    bad.insert(bad.end(), frame.begin(), frame.end());
  }
  WriteFile("film.mjpg", bad);
  const size_t third = Encode(0, 0).size() + Encode(1, 0).size();
  bad[third + 2 + 18 + 6 + 134 + 11] = 0x22;  // luma sampling, behind APP0, DRI and DQT
  WriteFile("bad.mjpg", bad);
  WriteFile("noise.mjpg", Bytes(5000, 0x37));
  WriteFile("there.y4m", "");
  const struct {
    const char* arguments;
    int code;
    const char* message;
  } cases[] = {
      {"decode", 2, "INPUT is required"},
      {"decode film.mjpg", 2, "OUTPUT is required"},
      {"decode film.mjpg x.foo", 2, "x.foo: the name of the output ends in"},
      {"decode film.mjpg there.y4m", 2, "there.y4m: exists"},
      {"decode film.mjpg x.raw --layout YUVX", 2, "'YUVX' is none of YUY2"},
      {"decode film.mjpg x.y4m --frames 4:2", 2, "--frames"},
      {"decode film.mjpg x.y4m --frames a", 2, "--frames"},
      {"decode film.mjpg --verify 12", 2, "is no MD5"},
      {"decode film.mjpg x.y4m --frames 20:", 1, "film.mjpg: holds no frame"},
      {"decode none.avi x.y4m", 1, "none.avi: No such file"},
      {"decode noise.mjpg x.y4m", 1, "noise.mjpg: no JPEG image in it"},
      {"decode bad.mjpg x.y4m", 1, "bad.mjpg: frame 2: 4:2:0 image; only 4:2:2 can be decoded"},
      {"info film.mjpg --frame 9", 1, "film.mjpg: has no frame 9, only 7"},
      {"compare film.mjpg testcard:16x16@25:7", 1, "is 16x16, not 48x32"},
  };
  for (const auto& c : cases) ExpectRefusal(c.arguments, c.code, c.message);
  // The bad frame shows the one before it, and the rest is there.
  EXPECT_EQ(Run("decode bad.mjpg kept.raw -q --keep-going").code, 1);
  EXPECT_EQ(Output("kept.raw").size(), size_t{kFrames} * kWidth * kHeight * 2);
}

}  // namespace
