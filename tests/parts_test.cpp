// Films that are coded in parts and put together again.
#include <sys/stat.h>

#include <fstream>
#include <regex>

#include "tests/command_runner.h"

namespace {

class Parts : public CommandTest {
 protected:
  void Ffmpeg(const std::string& arguments) const {
    const Result result = Shell("ffmpeg -v error -nostdin -y " + arguments);
    ASSERT_EQ(result.code, 0) << result.errors;
  }

  // Codes each part of the plan, whose names end in %, with `line`, which has %r for the range and
  // %n for the name. Returns the names.
  std::string CodeParts(const std::string& plan, const std::string& ending,
                        const std::string& line) const {
    std::istringstream lines(std::regex_replace(plan, std::regex("%"), ending));
    std::string names;
    for (std::string range, name; lines >> range >> name;) {
      std::string part = std::regex_replace(line, std::regex("%r"), range);
      RunWell(std::regex_replace(part, std::regex("%n"), name));
      names += name + " ";
    }
    return names;
  }

  // Of so many frames of 32x16; what a frame's header has after FRAME.
  static std::string Y4m(int frames, const std::string& parameters) {
    std::string text = "YUV4MPEG2 W32 H16 F25:1\n";
    for (int f = 0; f < frames; ++f) {
      text += "FRAME" + (f % 3 == 1 ? parameters : "") + "\n";
      for (int i = 0; i < 32 * 16 * 3 / 2; ++i) text += static_cast<char>((i * (f + 3)) % 200 + 20);
    }
    return text;
  }

  // A file of `size` bytes with holes, and some bytes at some places.
  void WriteSparse(const std::string& name, uint64_t size,
                   const std::vector<std::pair<uint64_t, std::string>>& pieces) const {
    std::ofstream(folder_.Path(name)).close();
    std::filesystem::resize_file(folder_.Path(name), size);
    std::fstream file(folder_.Path(name), std::ios::in | std::ios::out | std::ios::binary);
    for (const auto& [at, bytes] : pieces) {
      file.seekp(static_cast<std::streamoff>(at));
      file << bytes;
    }
  }
};

TEST_F(Parts, JoinedAreTheWholeFilm) {
  RunWell("encode -q testcard:48x32@30000/1001:50 card.avi --fields bottom");
  RunWell("decode -q card.avi f_%03d.png");
  RunWell("decode -q card.avi card.raw --layout UYVY");
  RunWell("repair -q card.avi card.mjpg");
  RunWell("repair -q card.avi g_%d.jpg");
  WriteFile("plain.y4m", Y4m(50, ""));
  WriteFile("long.y4m", Y4m(50, " Ip"));
  Ffmpeg("-f lavfi -i sine=300:r=44100 -t 2.5 -ac 2 -bitexact tone.wav");
  RunWell("repair -q card.avi pcm.avi --sound tone.wav");
  Ffmpeg("-i pcm.avi -c:v copy -c:a libmp3lame -b:a 128k mp3.avi");
  Ffmpeg("-itsoffset 0.3 -i tone.wav -i card.avi -map 1:v -map 0:a -c copy late.mkv");
  Ffmpeg("-f lavfi -i testsrc=s=32x16:r=25:d=2 -c:v rawvideo -pix_fmt bgr24 bitmap.avi");
  const struct {
    const char *input, *options, *extension;
    const char* last = "30:49";
  } cases[] = {
      {"testcard:48x32@25:50", "--quality 60", "avi"},
      {"testcard:48x32@25:50", "--bitrate 200k --rate-window 10", "avi"},
      {"testcard:48x32@25:50", "--target-size 1000 --rate-window 10", "avi"},
      {"testcard:48x32@25:50", "--target-size 700 --rate-window 10 --strong --for driver", "avi"},
      {"testcard:48x32@25:50", "--bitrate 200k --rate-window 10 --alpha", "mjpg"},
      {"plain.y4m", "--bitrate 200k --rate-window 10 --range full", "avi"},
      {"long.y4m", "--target-size 900 --rate-window 10", "avi"},
      {"card.raw", "--size 48x32 --layout UYVY --bitrate 300k --rate-window 5", "avi"},
      {"f_%03d.png", "--rate 24 --bitrate 200k --rate-window 10", "avi"},
      {"g_%d.jpg", "--target-size 800 --rate-window 10", "mjpg"},
      {"card.mjpg", "--bitrate 200k --rate-window 10", "avi"},
      {"bitmap.avi", "--bitrate 200k --rate-window 10", "avi"},
      {"pcm.avi", "--bitrate 200k --rate-window 10", "avi"},
      {"mp3.avi", "--quality 50", "avi", "30:"},
      {"late.mkv", "--bitrate 200k --rate-window 10", "avi"},
      {"plain.y4m", "--quality 80 --sound tone.wav", "avi"},
  };
  const auto check = [&](const auto& c) {
    const std::string ending = c.extension;
    std::string coding = c.input;
    coding.append(" ").append(c.options).append(" ");
    SCOPED_TRACE(coding);
    const std::string whole = "whole." + ending, again = "again." + ending;
    const std::string joined = "joined." + ending;
    RunWell("encode -qf --threads 1 " + coding + whole);
    RunWell("encode -qf --threads 4 " + coding + again);
    EXPECT_EQ(Output(again), Output(whole));
    const std::string names =
        CodeParts("0:9 a.% 10:29 b.% " + std::string(c.last) + " c.%", ending,
                  "encode -qf --threads 3 " + coding + "%n --frames %r --manifest %n.json");
    RunWell("join -qf --manifest " + names + joined);
    EXPECT_EQ(Output(joined), Output(whole));
  };
  for (const auto& c : cases) check(c);
}

TEST_F(Parts, RepairedAreTheWholeFilm) {
  RunWell("encode -q testcard:48x32@25:40 plain.avi --no-huffman-tables --mode 2");
  Ffmpeg("-f lavfi -i sine=300:r=44100 -t 1.6 -bitexact tone.wav");
  for (const char* sound : {"", "--sound tone.wav"}) {
    RunWell(std::string("repair -qf plain.avi whole.avi ") + sound);
    const std::string names =
        CodeParts("0:6 a.% 7:7 b.% 8: c.%", "avi",
                  std::string("repair -qf plain.avi %n --frames %r ") + sound);
    RunWell("join -qf " + names + "joined.avi");
    EXPECT_EQ(Output("joined.avi"), Output("whole.avi"));
  }
}

TEST_F(Parts, WindowsOfABrokenFilmEndWhereItBreaks) {
  const std::string film = Y4m(40, "");
  WriteFile("cut.y4m", film.substr(0, film.size() - 5 * 774 - 100));
  Bytes outputs[2];
  for (const int threads : {1, 4}) {
    const Result result = Run("encode -qf cut.y4m x.avi --bitrate 200k --rate-window 8 --threads " +
                              std::to_string(threads));
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.errors.find("ends within frame 34"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("x.avi has the 34 frames before"), std::string::npos);
    outputs[threads == 4 ? 1 : 0] = Output("x.avi");
  }
  EXPECT_EQ(outputs[0], outputs[1]);
}

TEST_F(Parts, TheRateStartsAgain) {
  const std::string film = "encode -qf testcard:64x48@25:30 --target-size 900 ";
  RunWell(film + "never.avi --rate-window 0");
  RunWell(film + "usual.avi");
  RunWell(film + "ten.avi --rate-window 10");
  RunWell(film + "- --rate-window 0 >never.mjpg");
  RunWell(film + "- >pipe.mjpg");
  EXPECT_EQ(Output("never.avi"), Output("usual.avi"));  // shorter than a window
  EXPECT_NE(Output("never.avi"), Output("ten.avi"));
  EXPECT_EQ(Output("never.mjpg"), Output("pipe.mjpg"));
  const std::string longer = "encode -qf testcard:16x16@25:260 --target-size 300 ";
  RunWell(longer + "usual.avi");
  RunWell(longer + "same.avi --rate-window 250");
  RunWell(longer + "never.mjpg --rate-window 0");
  RunWell(longer + "- >pipe.mjpg");
  EXPECT_EQ(Output("usual.avi"), Output("same.avi"));
  EXPECT_EQ(Output("never.mjpg"), Output("pipe.mjpg"));
  EXPECT_NE(RunWell("md5 usual.avi"), RunWell("md5 never.mjpg"));
}

// Nobody could read so much.
TEST_F(Parts, WhatCanSeekIsNotRead) {
  constexpr uint64_t kRaw = 32 * 16 * 2, kFrame = 6 + 32 * 16 * 3 / 2, kFrames = 1'000'000'000;
  const std::string header = "YUV4MPEG2 W32 H16 F25:1\n";
  const uint64_t at = header.size() + 999'999'990 * kFrame;
  WriteSparse("film.raw", kRaw * kFrames, {{999'999'990 * kRaw, std::string(kRaw, 'x')}});
  WriteSparse("film.y4m", header.size() + kFrame * kFrames,
              {{0, header}, {at, "FRAME\n" + std::string(kFrame - 6, 'x')}});
  const std::string range = " --frames 999999990 ";
  const std::string in_sixty_seconds = "timeout 60 " TKMJPG_COMMAND " encode -q ";
  EXPECT_EQ(Shell(in_sixty_seconds + "film.raw --size 32x16 raw.avi" + range).code, 0);
  EXPECT_EQ(Shell(in_sixty_seconds + "film.y4m y4m.avi" + range).code, 0);
  EXPECT_EQ(Shell(in_sixty_seconds + "testcard:32x16@25:1000000000 card.avi" + range).code, 0);
  for (const char* name : {"raw.avi", "y4m.avi", "card.avi"}) {
    EXPECT_NE(RunWell(std::string("info ") + name).find("1 frame"), std::string::npos) << name;
  }
  EXPECT_EQ(RunWell("split-plan film.y4m --parts 2"),
            "0:499999999\tfilm_part_0000.avi\n500000000:999999999\tfilm_part_0001.avi\n");
}

TEST_F(Parts, RangesOfEveryCommand) {
  RunWell("encode -q testcard:48x32@25:20 film.avi");
  RunWell("encode -q testcard:48x32@25:20 other.avi --quality 30");
  RunWell("encode -q film.avi part.avi --frames 5:9");
  RunWell("repair -q film.avi fixed.avi --frames 18:");
  RunWell("decode -q film.avi part.y4m --frames 5:9");
  const struct {
    const char *line, *text;
  } cases[] = {
      {"info part.avi", "5 frames"},
      {"info fixed.avi", "2 frames"},
      {"info film.avi --frames 5:9", "5 frames"},
      {"info film.avi --frames 7:9", "\n      7 "},
      {"info --frames film.avi", "20 frames"},
      {"compare film.avi other.avi --frames 5:9", "5 frames: Y "},
      {"compare film.avi film.avi --frames 12: --per-frame", "frame 12: Y inf"},
      {"compare part.avi part.y4m", "5 frames: Y "},
  };
  for (const auto& c : cases) {
    const std::string out = RunWell(c.line);
    EXPECT_NE(out.find(c.text), std::string::npos) << c.line << "\n" << out;
  }
  const std::pair<const char*, const char*> refusals[] = {
      {"encode film.avi x.avi --frames 20:", "film.avi: has no frame 20, only 20"},
      {"repair film.avi x.avi --frames 30:", "film.avi: has no frame 30, only 20"},
      {"info film.avi --frames 20", "film.avi: has no frame 20, only 20"},
      {"compare film.avi other.avi --frames 90:", "film.avi: has no frame 90, only 20"},
      {"compare film.avi part.avi --frames 3:", "part.avi: ends after 5 frames"},
  };
  for (const auto& [line, message] : refusals) ExpectRefusal(line, 1, message);
}

TEST_F(Parts, Plans) {
  WriteFile("a b.y4m", Y4m(1000, ""));
  const struct {
    const char *options, *plan;
  } cases[] = {
      {"--parts 2", "0:499\ta b_part_0000.avi\n500:999\ta b_part_0001.avi\n"},
      {"--parts 3 --name p%d.mjpg", "0:249\tp0.mjpg\n250:499\tp1.mjpg\n500:999\tp2.mjpg\n"},
      {"--parts 3 --name p%d.avi --rate-window 1",
       "0:332\tp0.avi\n333:665\tp1.avi\n666:999\tp2.avi\n"},
      {"--frames-per-part 750 --name p%d.avi", "0:749\tp0.avi\n750:999\tp1.avi\n"},
      {"--frames-per-part 600 --name p%d.avi --rate-window 0", "0:599\tp0.avi\n600:999\tp1.avi\n"},
      {"-q --parts 9 --name p%d.avi --rate-window 500", "0:499\tp0.avi\n500:999\tp1.avi\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RunWell(std::string("split-plan 'a b.y4m' ") + c.options), c.plan) << c.options;
  }
  EXPECT_NE(Run("split-plan 'a b.y4m' --parts 9").errors.find("has only 4 rate windows of 250"),
            std::string::npos);
  const struct {
    const char* line;
    int code;
    const char* message;
  } refusals[] = {
      {"split-plan 'a b.y4m'", 2, "needs --parts or --frames-per-part"},
      {"split-plan 'a b.y4m' --parts 0", 2, "--parts: at least 1"},
      {"split-plan 'a b.y4m' --frames-per-part 100", 2, "no multiple of the rate window, 250"},
      {"split-plan 'a b.y4m' --parts 2 --name p.avi", 2, "has no number"},
      {"split-plan - --parts 2", 2, "a file that can be read again"},
      {"split-plan none.y4m --parts 2", 1, "none.y4m: "},
  };
  for (const auto& c : refusals) ExpectRefusal(c.line, c.code, c.message);
}

// Each row codes part b once more, wrongly, or changes its file, and joins a, b and c.
TEST_F(Parts, WrongOnesAreRefused) {
  const std::string part = "encode -qf testcard:48x32@25:30 ";
  Ffmpeg("-f lavfi -i sine=300:r=44100 -t 2 -bitexact tone.wav");
  WriteFile("noise.avi", std::string("no film at all"));
  const auto code = [&](const char* name, const char* range) {
    RunWell(part + name + " --frames " + range + " --manifest " + name + ".json");
  };
  code("a.avi", "0:9");
  code("c.avi", "20:29");
  code("second.avi", "10:19");
  RunWell("encode -qf testcard:48x32@25:10 plain.avi");
  RunWell("repair -qf second.avi cut.mjpg");
  const struct {
    const char *prepare, *join, *message;
  } cases[] = {
      {"encode -qf testcard:48x48@25:30 b.avi --frames 10:19", "a.avi b.avi c.avi",
       "b.avi: is 48x48, a.avi 48x32"},
      {"encode -qf testcard:48x32@30:30 b.avi --frames 10:19", "a.avi b.avi c.avi",
       "b.avi: has 30 frames a second, a.avi 25 frames a second"},
      {"encode -qf testcard:48x32@25:30 b.avi --frames 10:19 --fields top", "a.avi b.avi c.avi",
       "b.avi: has fields, top first, image 1 on even lines, a.avi whole frames"},
      {"encode -qf testcard:48x32@25:30 b.avi --frames 10:19 --range full", "a.avi b.avi c.avi",
       "b.avi: has luma 0 to 255, a.avi luma 16 to 235"},
      {"encode -qf testcard:48x32@25:30 b.avi --frames 10:19 --sound tone.wav", "a.avi b.avi c.avi",
       "b.avi: has PCM, 44100 Hz, 1 channel, 16 bits, a.avi no sound"},
      {"encode -qf testcard:48x32@25:30 b.avi --frames 10:19 --quality 80", "a.avi b.avi c.avi",
       "b.avi: was made by `encode --quality 80"},
      {"encode -qf testcard:48x32@25:40 b.avi --frames 10:19", "a.avi b.avi c.avi",
       "b.avi: is a part of a film of 40 frames, a.avi a film of 30 frames"},
      {"encode -qf testcard:48x32@25:30 b.avi --frames 11:19", "a.avi b.avi c.avi",
       "b.avi: begins with frame 11; frame 10 is missing before it"},
      {"encode -qf testcard:48x32@25:30 b.avi --frames 9:19", "a.avi b.avi c.avi",
       "b.avi: begins with frame 9, but a.avi before it ends with frame 9"},
      {"info second.avi", "second.avi c.avi",
       "second.avi: begins with frame 10; frames 0 to 9 are missing before it"},
      {"info second.avi", "a.avi c.avi second.avi",
       "c.avi: begins with frame 20; frames 10 to 19 are missing before it"},
      {"info second.avi", "a.avi second.avi second.avi c.avi",
       "second.avi: begins with frame 10, but second.avi before it ends with frame 19"},
      {"info second.avi", "a.avi second.avi",
       "second.avi: ends with frame 19; frames 20 to 29 are missing after it"},
      {"info second.avi", "a.avi plain.avi c.avi",
       "plain.avi: is no numbered part, a.avi a numbered part"},
      {"info second.avi", "a.avi cut.mjpg c.avi", "cut.mjpg: is MJPG, a.avi AVI"},
      {"info second.avi", "a.avi noise.avi c.avi", "noise.avi: "},
      {"info second.avi", "a.avi none.avi c.avi", "none.avi: No such file or directory"},
      {"!head -c 9000 second.avi >b.avi", "a.avi b.avi c.avi", "b.avi: is damaged: "},
      {"!head -c -300 second.avi >b.avi", "a.avi b.avi c.avi", "b.avi: is damaged: "},
      {"!cp second.avi b.avi; rm -f b.avi.json", "a.avi b.avi c.avi --manifest",
       "b.avi.json: No such file or directory"},
      {"!cp second.avi b.avi; echo '{\"file\": 3}' >b.avi.json", "a.avi b.avi c.avi --manifest",
       "b.avi.json: is no manifest of a part: "},
      {"!cp second.avi b.avi; cp second.avi.json b.avi.json", "a.avi b.avi c.avi --manifest",
       "b.avi: its manifest is that of second.avi"},
      {"!cp second.avi b.avi; sed 's/second.avi/b.avi/' second.avi.json >b.avi.json; echo >>b.avi",
       "a.avi b.avi c.avi --manifest", " bytes, its manifest says "},
      {"!cp second.avi b.avi; sed 's/second.avi/b.avi/; s/19,/18,/' second.avi.json >b.avi.json",
       "a.avi b.avi c.avi --manifest",
       "b.avi: has frames 10 to 19, its manifest says frames 10 to 18"},
      {"!cp second.avi b.avi; sed 's/second.avi/b.avi/' second.avi.json >b.avi.json; "
       "printf Z | dd of=b.avi bs=1 seek=12000 conv=notrunc 2>&1",
       "a.avi b.avi c.avi --manifest", "b.avi: MD5 is "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.prepare << "; join " << c.join);
    const std::string prepare = c.prepare;
    const Result ready = prepare[0] == '!' ? Shell(prepare.substr(1)) : Run(prepare);
    ASSERT_EQ(ready.code, 0) << ready.errors;
    ExpectRefusal(std::string("join ") + c.join + " x.avi", 1, c.message);
    EXPECT_EQ(Shell("ls | grep '^x'").out, "");
  }
  ExpectRefusal("join a.avi second.avi c.avi film.txt", 2, "ends in .avi or .mjpg");
  RunWell("join a.avi second.avi c.avi x.avi --manifest");
}

TEST_F(Parts, OthersAreJoinedAsTheyCome) {
  RunWell("encode -q testcard:48x32@25:10 a.avi");
  const Result result = Run("join a.avi a.avi twice.avi");
  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_NE(result.errors.find("the parts have no numbers"), std::string::npos);
  EXPECT_NE(RunWell("info twice.avi").find("20 frames"), std::string::npos);
}

// What is done once is not done again, unless it is not as the manifest says.
TEST_F(Parts, JobsMayRunAgain) {
  const std::string job = "encode -q testcard:48x32@25:30 b.avi --frames 10:19 --manifest b.json";
  RunWell(job + " --resume --threads 1");
  const Bytes part = Output("b.avi"), manifest = Output("b.json");
  const struct {
    const char* change;
    const char* options;
    bool again;
  } cases[] = {
      {"true", "", false},
      {"true", "--threads 2 --quiet", false},
      {"rm b.json", "", true},
      {"head -c 200 b.json >c.json; mv c.json b.json", "", true},
      {"rm b.avi", "", true},
      {"head -c 9000 b.avi >c.avi; mv c.avi b.avi", "", true},
      {"printf Z | dd of=b.avi bs=1 seek=12000 conv=notrunc 2>&1", "", true},
      {"sed -i 's/\"version\": \"/&9/' b.json", "", true},
      {"true", "--mode 0", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.change << " " << c.options);
    ASSERT_EQ(Shell(c.change).code, 0);
    ASSERT_EQ(Shell("test ! -e b.avi || touch -d 2001-01-01 b.avi").code, 0);
    RunWell(job + " --resume " + c.options);
    EXPECT_EQ(Output("b.avi"), part);
    const bool again = !Shell("find b.avi -newermt 2002-01-01").out.empty();
    EXPECT_EQ(again, c.again);
    RunWell(job + " --force");
    EXPECT_EQ(Output("b.json"), manifest);
  }
  ExpectRefusal(job, 2, "b.json: exists; --force replaces it");
  ExpectRefusal("encode -q testcard:48x32@25:30 x.avi --resume", 2, "--resume needs --manifest");
  ExpectRefusal("encode -q testcard:48x32@25:30 x_%d.jpg --manifest x.json", 2, "--manifest needs");
}

TEST_F(Parts, OfAKilledJobNothingIsLeft) {
  const std::string job =
      "encode -q testcard:320x240@25:1000000 x.avi --frames 0:900000 --manifest x.json";
  for (const char* signal : {"TERM", "INT"}) {
    Shell(std::string("timeout -s ") + signal + " 1 " TKMJPG_COMMAND " " + job);
    EXPECT_EQ(Shell("ls | grep '^x'").out, "");
  }
  WriteFile("cut.y4m", Y4m(9, "").substr(0, 6000));
  const Result result = Run("encode -q cut.y4m x.avi --frames 1: --manifest x.json");
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.errors.find("nothing is kept of x.avi"), std::string::npos) << result.errors;
  EXPECT_EQ(Shell("ls | grep '^x'").out, "");
}

}  // namespace
