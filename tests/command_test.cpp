// The command itself, as a user runs it.
#include <sys/stat.h>

#include "cpu/cpu_rung.h"
#include "tests/command_runner.h"
#include "tests/frame_calls.h"

namespace {

class Command : public CommandTest {};

// Frames of the films that are not coded by the command.
constexpr int kWidth = 48, kHeight = 32;
const tkmjpg::tool::VideoFormat kFormat = {kWidth, kHeight};
constexpr size_t kFrames = 7, kFrameBytes = kWidth * kHeight * 2;

Bytes Encode(size_t n, uint32_t flags) {
  Bytes pixels(kFrameBytes);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(60 + 10 * n + i % 96 + (i / 96) * 3);
  }
  return Compress(pixels, {kYuy2, kWidth, kHeight, flags, 80});
}

std::vector<Bytes> Film(const std::vector<uint32_t>& flags) {
  std::vector<Bytes> frames;
  for (size_t n = 0; n < kFrames; ++n) frames.push_back(Encode(n, flags[n % flags.size()]));
  return frames;
}

// What the library makes of the frames in sequence, with one carry record.
Bytes Sequence(const std::vector<Bytes>& frames, uint32_t flags, const Layout& layout = kYuYv) {
  CodecCarryState carry = tkmjpg::kNewCarryState;
  Bytes film;
  for (const Bytes& frame : frames) {
    film = film + Decompress(frame, {layout, kWidth, kHeight, flags, 0, &carry});
  }
  return film;
}

TEST_F(Command, RefusesInOneLine) {
  const std::vector<Bytes> frames = Film({0});
  Bytes film;
  for (const Bytes& frame : frames) film = film + frame;
  const size_t third = frames[0].size() + frames[1].size();
  WriteFile("film.mjpg", film);
  // The third frame's luma sampling.
  WriteFile("bad.mjpg", Set(film, FindMarker(film, 0xC0, third) + 1, {0xC3}));
  const std::pair<const char*, std::string> files[] = {{"noise.mjpg", std::string(5000, '7')},
                                                       {"good.y4m", Y4m("", 2, 16, 16)},
                                                       {"deep.y4m", Y4m("C420p10", 1, 16, 16)},
                                                       {"mixed.y4m", Y4m("Im", 1, 16, 16)},
                                                       {"none.y4m", Y4m("", 0, 16, 16)},
                                                       {"junk.y4m", "no film at all"},
                                                       {"junk.png", "no picture at all"},
                                                       {"huge.y4m", "YUV4MPEG2 W60000 H60000\n"},
                                                       {"odd.y4m", Y4m("", 1, 16, 16) + "FRAMES\n"},
                                                       {"there.avi", ""},
                                                       {"there.y4m", ""}};
  for (const auto& [name, text] : files) WriteFile(name, text);
  for (const char* name : {"p1.jpg", "p2.jpg", "p4.jpg"}) WriteFile(name, frames[0]);
  for (const char* name : {"q07.png", "q8.png", "q10.png", "q010.png"}) WriteFile(name, "");
  std::filesystem::create_symlink("film.mjpg", folder_.Path("soft.mjpg"));
  std::filesystem::create_hard_link(folder_.Path("film.mjpg"), folder_.Path("hard.mjpg"));
  std::filesystem::create_symlink("circle.mjpg", folder_.Path("circle.mjpg"));
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
      {"encode good.y4m x.avi --for you", 2, "--for"},
      {"encode good.y4m x.avi --top-image-first", 2, "is gone; use --for players"},
      {"encode good.y4m x.avi --range full --for driver --mode 1", 2, "5 and 7 alone mean full"},
      {"encode q%d.png x.avi --range full --alpha", 2, "in limited range only"},
      {"encode good.y4m x.avi --nonsense", 2, "encode; tkmjpg encode --help lists them"},
      {"encode good.y4m x.avi --qualty 5", 2, "--qualty: there is no such option of encode; did"},
      {"encode good.y4m --qual=5", 2, "did you mean --quality?"},
      {"encode good.y4m x.avi --cup plain", 2, "did you mean --cpu?"},
      {"--quality 5 encode good.y4m x.avi", 2, "--quality: belongs after encode"},
      {"deocde film.mjpg x.y4m", 2, "deocde: there is no such subcommand; did you mean decode?"},
      {"-- encode", 2, "subcommand"},
      {"film.mjpg", 2, "there is no such subcommand; tkmjpg --help lists them"},
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
      {"encode odd.y4m odd.avi", 1, "no FRAME where frame 1 should begin, at byte 415"},
      {"encode - x.avi <junk.y4m", 1, "standard input: is no Y4M"},
      {"encode q%02d.png x.avi", 1, "q00.png: is missing; the next picture is q07.png; --start 7"},
      {"encode q%02d.png x.avi --start 7", 1, "q08.png: is missing; the next picture is q10.png"},
      {"encode good.y4m x.avi --start 1", 2, "--start is for numbered pictures"},
      {"encode hard.mjpg soft.mjpg -f --size 16x16", 2, "soft.mjpg: is the input too"},
      {"encode good.y4m circle.mjpg -f", 1, "circle.mjpg: Too many levels of symbolic links"},
      {"encode good.y4m - >/dev/full", 1, "standard output: No space left"},

      {"decode", 2, "INPUT is required"},
      {"decode film.mjpg", 2, "OUTPUT is required"},
      {"decode film.mjpg x.foo", 2, "x.foo: the name of the output ends in"},
      {"decode film.mjpg there.y4m", 2, "there.y4m: exists"},
      {"decode film.mjpg x.raw --layout YUVX", 2, "'YUVX' is none of YUY2"},
      {"decode film.mjpg x.y4m --frames 4:2", 2, "--frames"},
      {"decode film.mjpg x.y4m --frames a", 2, "--frames"},
      {"decode film.mjpg x.y4m --first-image left", 2, "--first-image"},
      {"decode film.mjpg x.y4m --invert-fields", 2, "is gone; use --first-image top"},
      {"md5 film.mjpg --full-range", 2, "is gone; use --range full"},
      {"decode film.mjpg --verify 12", 2, "is no MD5"},
      {"decode film.mjpg x.y4m --frames 20:", 1, "film.mjpg: holds no frame"},
      {"decode none.avi x.y4m", 1, "none.avi: No such file"},
      {"decode noise.mjpg x.y4m", 1, "noise.mjpg: no JPEG image in it"},
      {"decode bad.mjpg two.raw", 1, "bad.mjpg: frame 2: image of type SOF3; only baseline, "},
      {"decode p%d.jpg x.y4m", 1, "p3.jpg: is missing; the next picture is p4.jpg"},
      {"decode p%d.jpg x.y4m --start 5", 1, "p5.jpg: No such file"},
      {"decode film.mjpg x.y4m --start 0", 2, "--start is for numbered pictures"},
      {"decode film.mjpg film.mjpg -f --layout YUY2", 2, "film.mjpg: is the input too"},
      {"repair soft.mjpg film.mjpg -f", 2, "film.mjpg: is the input too"},
      {"repair film.mjpg hard.mjpg -f", 2, "hard.mjpg: is the input too"},
      {"repair - film.mjpg -f <hard.mjpg", 2, "film.mjpg: is the input too"},
      {"repair film.mjpg - <>film.mjpg 1<>film.mjpg", 2, "standard output: is the input too"},
      {"repair p%d.jpg p2.jpg -f --start 1", 2, "p2.jpg: is the input too"},
      {"info film.mjpg --frame 9", 1, "film.mjpg: has no frame 9, only 7"},
      {"info good.y4m", 1, "good.y4m: is no Motion-JPEG but Y4M"},
      {"info - <good.y4m", 1, "standard input: is no Motion-JPEG but Y4M"},
      {"info 'e\033[2J\n\xFF'", 1, "e\\x1b[2J\\x0a\\xff: No such file"},
      {"info film.mjpg >/dev/full", 1, "standard output: No space left"},
      {"info film.mjpg --json >/dev/full", 1, "standard output: No space left"},
      {"compare film.mjpg film.mjpg >/dev/full", 1, "standard output: No space left"},
      {"md5 film.mjpg >/dev/full", 1, "standard output: No space left"},
      {"--help >/dev/full", 1, "standard output: No space left"},
      {"encode --help >/dev/full", 1, "standard output: No space left"},
      {"compare p%d.jpg film.mjpg", 1, "p3.jpg: is missing"},
      {"compare film.mjpg film.mjpg --start 1", 2, "--start is for numbered pictures"},
      {"compare film.mjpg testcard:16x16@25:7", 1, "is 16x16, not 48x32"},
  };
  for (const auto& c : cases) ExpectRefusal(c.arguments, c.code, c.message);
  EXPECT_EQ(Output("film.mjpg"), film);
  // What comes before the fault is kept.
  EXPECT_EQ(Output("two.raw").size(), 2 * kFrameBytes);
  // The bad frame shows the one before it, and the rest is there.
  EXPECT_EQ(Run("decode bad.mjpg kept.raw -q --keep-going").code, 3);
  EXPECT_EQ(Output("kept.raw").size(), kFrames * kFrameBytes);
  EXPECT_EQ(Run("encode bad.mjpg kept.mjpg -q --keep-going").code, 3);
  RunWell("decode kept.mjpg again.raw -q");
  EXPECT_EQ(Output("again.raw").size(), kFrames * kFrameBytes);
}

TEST_F(Command, EncodesTheSameBytesForAnyThreads) {
  for (const char* options : {"", "--alpha --quality 40", "--fields bottom", "--target-size 9k",
                              "--bitrate 1.5M --strong --fields top --mode 7"}) {
    SCOPED_TRACE(options);
    const std::string line = std::string("encode -q -f testcard:176x144@25:20 ") + options;
    RunWell(line + " 1.avi --threads 1");
    EXPECT_GT(Output("1.avi").size(), 20000U);
    for (const char* threads : {"2", "5"}) {
      RunWell(line + " n.avi --threads " + threads);
      EXPECT_EQ(Output("n.avi"), Output("1.avi")) << threads;
    }
  }
}

TEST_F(Command, DecodesTheSamePixelsForAnyThreads) {
  constexpr uint32_t kPair = TKMJPG_C_FIELDS, kOne = TKMJPG_C_FIELDS | TKMJPG_C_ONE_FIELD;
  constexpr uint32_t kFirst = TKMJPG_D_ONE_FIELD, kSmart = TKMJPG_D_ONE_FIELD_SMART;
  const struct {
    std::vector<uint32_t> film;
    const char* options;
    uint32_t flags;
  } cases[] = {
      {{0}, "", 0},
      {{kPair}, "--first-image top", TKMJPG_D_INVERT_FIELDS},
      {{kPair | TKMJPG_C_CODE2_FIRST}, "", TKMJPG_D_USE_AVI1_MARKERS},
      {{kPair | TKMJPG_C_CODE2_FIRST}, "--first-image bottom", 0},
      {{kPair}, "--one-field", kFirst},
      {{kPair}, "--one-field --smart", kFirst | kSmart},
      {{kOne, kPair, kOne, kOne}, "--smart", kSmart},
      {{kOne}, "--smart", kSmart},
  };
  for (const auto& c : cases) {
    WriteAvi("film.avi", Film(c.film), kFormat);
    for (const char* threads : {"1", "2", "5"}) {
      RunWell(std::string("decode film.avi film.raw -qf ") + c.options + " --threads " + threads);
      EXPECT_EQ(Output("film.raw"), Sequence(Film(c.film), c.flags)) << c.options << threads;
    }
  }
}

TEST_F(Command, DecodesARangeOfFrames) {
  WriteAvi("film.avi", Film({0}), kFormat);
  const Bytes all = Sequence(Film({0}), 0, kYuy2);
  const struct {
    const char* range;
    size_t first, end;
  } cases[] = {{"0:6", 0, 7}, {"2:4", 2, 5}, {"5:", 5, 7},
               {":1", 0, 2},  {"3", 3, 4},   {"6:90", 6, 7}};
  for (const auto& c : cases) {
    RunWell(std::string("decode film.avi film.raw -qf --layout YUY2 --frames ") + c.range);
    EXPECT_EQ(Output("film.raw"), Slice(all, c.first * kFrameBytes, c.end * kFrameBytes))
        << c.range;
  }
}

TEST_F(Command, RoundTripAndChecksum) {
  RunWell("encode testcard:45x30@30000/1001:5 a.avi -q --quality 90");
  RunWell("decode a.avi -q a.y4m");
  RunWell("decode a.avi -q a_%02d.png");
  EXPECT_EQ(Text("a.y4m").substr(0, 63),
            "YUV4MPEG2 W45 H30 F30000:1001 Ip A1:1 C422 XCOLORRANGE=LIMITED\n");
  const std::string digest = RunWell("md5 a.avi").substr(0, 32);
  RunWell("decode a.avi --verify " + digest);
  EXPECT_EQ(Run("md5 a.avi --frames 1:3 --verify " + digest).code, 1);

  RunWell("repair a.avi b.mjpg -q --no-huffman-tables");
  RunWell("repair b.mjpg c.mjpg -q");
  RunWell("repair a.avi d.mjpg -q");
  EXPECT_EQ(Output("c.mjpg"), Output("d.mjpg"));
  const std::pair<const char*, const char*> outputs[] = {
      {"compare a.avi a.y4m", "5 frames: Y inf"},
      {"compare a.avi a_%02d.png --per-frame", "frame 4: Y "},
      {"info b.mjpg", "5 frames"},
      {"info a.avi --json", "\"index\": \"right\""}};
  for (const auto& [line, text] : outputs) {
    const std::string out = Run(line).out;
    ExpectHas(out, text);
  }
}

TEST_F(Command, OutputsHoldTheSameFrames) {
  WriteFile("a.y4m", Y4m("", 3, 40, 24));
  RunWell("encode -q a.y4m a.mjpg");
  RunWell("encode -q a.y4m a%02d.jpg");
  const Bytes joined = Output("a00.jpg") + Output("a01.jpg") + Output("a02.jpg");
  ASSERT_FALSE(joined.empty());
  EXPECT_EQ(Output("a.mjpg"), joined);
  RunWell("encode -q - - <a.y4m");
  EXPECT_EQ(Output("out.txt"), joined);
}

// Which instructions the command uses: by the environment, by --cpu, else the best there are.
TEST_F(Command, UsesTheInstructionsItIsTold) {
  const auto instructions = [this](const std::string& environment, const std::string& options) {
    const std::string out = Shell(environment + " " TKMJPG_COMMAND " " + options + " doctor").out;
    std::istringstream words(out);
    std::string word;
    while (words >> word && word != "instructions") continue;
    words >> word;
    return out.empty() ? "" : word.substr(0, word.find(';'));
  };
  const std::string best(tkmjpg::CpuRungName(tkmjpg::HighestCpuRung()));
  for (int i = 0; i < tkmjpg::kCpuRungCount; ++i) {
    const auto rung = static_cast<tkmjpg::CpuRung>(i);
    const std::string name(tkmjpg::CpuRungName(rung));
    const bool runs = tkmjpg::CpuRungRuns(rung);
    EXPECT_EQ(instructions("TKMJPG_CPU=" + name, ""), runs ? name : best) << name;
    EXPECT_EQ(instructions("TKMJPG_CPU=", "--cpu " + name), runs ? name : "") << name;
    EXPECT_EQ(instructions("TKMJPG_CPU=plain", "--cpu " + name), runs ? name : "") << name;
  }
  for (const char* environment : {"TKMJPG_CPU=", "TKMJPG_CPU=mmx", "unset TKMJPG_CPU;"}) {
    EXPECT_EQ(instructions(environment, ""), best) << environment;
  }
}

}  // namespace
