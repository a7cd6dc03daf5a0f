// tkmjpg compare as a user runs it.
#include "tests/command_runner.h"
#include "tests/frame_calls.h"

namespace {

class CompareCommand : public CommandTest {
 protected:
  void SetUp() override {
    RunWell("encode testcard:64x48@25:6 six.avi -q --quality 50");
    RunWell("encode testcard:64x48@25:4 four.avi -q --quality 90");
  }
  // Of JSON on standard input, what the Python expression over `d` gives.
  std::string Json(const std::string& arguments, const std::string& expression) const {
    return Shell(TKMJPG_COMMAND " " + arguments + " 2>/dev/null | python3 -c '" +
                 "import json,sys; d=json.load(sys.stdin); print(" + expression + ")'")
        .out;
  }
};

TEST_F(CompareCommand, JsonIsValidWhateverHappens) {
  WriteFile("noise.y4m",
            "YUV4MPEG2 W64 H48 F25:1 C422\nFRAME\n" + std::string(64 * 48 * 2, 'x') + "FRAM");
  const struct {
    const char *arguments, *expression, *value;
  } cases[] = {
      {"testcard:64x48@25:6 six.avi", "len(d[\"frames\"]), d[\"summary\"][\"complete\"]",
       "6 True\n"},
      {"testcard:64x48@25:6 six.avi", "d[\"a\"][\"compressed\"], d[\"b\"][\"compressed\"]",
       "False True\n"},
      {"testcard:64x48@25:6 six.avi",
       "all(f[\"psnr\"][0] < 60 and 0 < f[\"ssim\"][0] < 1 for f in d[\"frames\"])", "True\n"},
      {"testcard:64x48@25:6 six.avi",
       "d[\"summary\"][\"bytes_b\"] == sum(f[\"bytes_b\"] for f in d[\"frames\"])", "True\n"},
      {"six.avi six.avi", "d[\"frames\"][5][\"psnr\"], d[\"frames\"][5][\"ssim\"]",
       "[None, None, None] [1.0, 1.0, 1.0]\n"},
      {"six.avi six.avi", "d[\"summary\"].get(\"first_difference\")", "None\n"},
      {"six.avi four.avi", "len(d[\"frames\"]), d[\"summary\"][\"complete\"]", "4 False\n"},
      {"noise.y4m six.avi", "d[\"summary\"][\"frames\"], d[\"summary\"][\"complete\"]",
       "1 False\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Json("compare --json " + std::string(c.arguments), c.expression), c.value)
        << c.arguments;
  }
}

TEST_F(CompareCommand, CsvHasALineAFrame) {
  const std::string csv = RunWell("compare four.avi testcard:64x48@25:4 --csv");
  EXPECT_EQ(csv.rfind("frame,bytes_a,bytes_b,psnr_y,psnr_cb,psnr_cr,ssim_y,ssim_cb,ssim_cr\n0,", 0),
            0U);
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 5);
  EXPECT_EQ(std::count(csv.begin(), csv.end(), ','), 5 * 8);
  ExpectHas(RunWell("compare four.avi four.avi --csv"), ",inf,inf,inf,1.000000,");
}

TEST_F(CompareCommand, ThreadsChangeNothing) {
  const std::string one = RunWell("compare testcard:64x48@25:6 six.avi --csv --threads 1");
  for (const char* threads : {"2", "5"}) {
    EXPECT_EQ(
        RunWell("compare testcard:64x48@25:6 six.avi --csv --threads " + std::string(threads)),
        one);
  }
}

// What a frame is depends on those before it: empty frames repeat one, and a field alone is made
// whole in another way after a pair.
TEST_F(CompareCommand, FramesFollowTheOnesBeforeThem) {
  constexpr uint32_t kPair = TKMJPG_C_FIELDS, kOne = TKMJPG_C_FIELDS | TKMJPG_C_ONE_FIELD;
  std::vector<Bytes> frames = {{}};
  for (const uint32_t flags : {kOne, kPair, kOne, kOne, kPair, kOne}) {
    Bytes pixels(48 * 32 * 2);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<uint8_t>(60 + 10 * frames.size() + i % 96 + (i / 96) * 3 % 50);
    }
    frames.push_back(Compress(pixels, {kYuy2, 48, 32, flags, 80}));
    frames.emplace_back();
  }
  WriteAvi("film.avi", frames, {48, 32});
  RunWell("decode film.avi film.y4m -q");
  for (const char* threads : {"1", "2", "5"}) {
    const std::string text = RunWell("compare film.avi film.y4m --threads " + std::string(threads));
    EXPECT_EQ(text.rfind("13 frames: Y inf  Cb inf  Cr inf dB\n", 0), 0U) << text;
  }
}

TEST_F(CompareCommand, RangesAndFieldsAreFoundOrGiven) {
  const std::string card = "testcard:160x96@25:3";
  RunWell("encode " + card + " limited.avi -q --quality 95");
  RunWell("encode " + card + " full.avi -q --quality 95 --range full");
  RunWell("encode " + card + " fields.avi -q --quality 95 --fields top");
  RunWell("decode fields.avi fields.y4m -q");
  const struct {
    const char* arguments;
    bool close;
  } cases[] = {
      {"limited.avi full.avi", true},
      {"full.avi limited.avi", true},
      {"limited.avi full.avi --range limited", false},
      {"full.avi full.avi --range limited", true},
      {"fields.y4m fields.avi", true},
      {"fields.y4m fields.avi --first-image top", true},
      {"fields.y4m fields.avi --first-image bottom", false},
  };
  for (const auto& c : cases) {
    const std::string psnr =
        Json("compare --json " + std::string(c.arguments), "d[\"summary\"][\"psnr\"][0] or 99");
    EXPECT_EQ(std::stod(psnr) > 36, c.close) << c.arguments << ": " << psnr;
  }
  EXPECT_EQ(Json("compare --json limited.avi full.avi", "d[\"a\"][\"range\"], d[\"b\"][\"range\"]"),
            "limited full\n");
}

TEST_F(CompareCommand, UncompressedAvi) {
  RunWell("decode six.avi plain.avi -q --layout YUY2");
  EXPECT_EQ(RunWell("compare six.avi plain.avi").rfind("6 frames: Y ", 0), 0U);
}

TEST_F(CompareCommand, SummaryAndExitCodes) {
  const std::string text = RunWell("compare testcard:64x48@25:6 six.avi");
  for (const char* line : {"6 frames: Y ", "\nSSIM: Y 0.9",
                           "\nworst frame: ", "\nfirst difference: frame 0, Y, line "}) {
    ExpectHas(text, line);
  }
  ExpectRefusal("compare six.avi four.avi", 1, "four.avi: ends after 4 frames, the other one goes");
  EXPECT_EQ(Text("out.txt").rfind("4 frames: Y ", 0), 0U);
  ExpectRefusal("compare six.avi six.avi --json --csv", 2, "excludes");
}

TEST_F(CompareCommand, ReportIsWrittenWholeOrNotAtAll) {
  WriteFile("there.html", "mine");
  ExpectRefusal("compare six.avi six.avi --report there.html", 2, "there.html: exists; --force");
  ExpectRefusal("compare six.avi six.avi --report six.avi -f", 2, "six.avi: is the input too");
  ExpectRefusal("compare six.avi six.avi --report no/x.html", 1, "no/x.html: No such file");
  ExpectRefusal("compare six.avi six.avi --report x.html --worst 0", 2, "--worst");
  EXPECT_EQ(Text("there.html"), "mine");

  RunWell("compare six.avi six.avi --report there.html --force");
  ExpectHas(Text("there.html"), "First frame");
  ExpectRefusal("compare six.avi four.avi --report short.html", 1, "ends after 4 frames");
  const std::string page = Text("short.html");
  ExpectHas(page, "<p class=\"note\">four.avi: ends after 4 frames");
  EXPECT_EQ(page.substr(page.size() - 8), "</html>\n");
}

}  // namespace
