// Films that end before their end: what was written until then is a whole file.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <regex>
#include <thread>

#include "tests/command_runner.h"

namespace {

bool Await(const std::function<bool()>& reached) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::minutes(2);
  while (!reached() && Clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return reached();
}

class FilmEnd : public CommandTest {
 protected:
  // Whether an AVI file has so many frames, an index of them, and nothing that is wrong, also for
  // another program.
  void ExpectWhole(const std::string& name, int frames) const {
    const std::string info = RunWell("info --json " + name);
    EXPECT_EQ(Shell("ffmpeg -nostdin -v warning -i " + name + " -f null - 2>&1").out, "");
    const std::string count = "{\"frames\": " + std::to_string(frames) + ", ";
    for (const char* word : {"\"index\": \"right\"", "\"anomalies\": 0", count.c_str()}) {
      ExpectHas(info, word);
    }
  }

  // Encodes to x.avi, and sends `signal` when it is `time`. Returns the wait status.
  int EncodeUntil(int signal, const std::string& input, const std::function<bool()>& time) {
    const std::string line = "cd " + folder_.Path("") + " && exec " TKMJPG_COMMAND " encode -q " +
                             input + " x.avi 2>errors.txt";
    const pid_t command = fork();
    if (command == 0) {
      for (const int one : {SIGINT, SIGTERM, SIGHUP}) std::signal(one, SIG_DFL);
      execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
      _exit(127);
    }
    unfinished_ = "x.avi." + std::to_string(command) + ".part";
    EXPECT_TRUE(Await([&] { return Exists(unfinished_) && time(); }));
    kill(command, signal);
    int status = 0;
    waitpid(command, &status, 0);
    return status;
  }

  std::string unfinished_;
};

TEST_F(FilmEnd, SignalsKeepTheFramesBefore) {
  const struct {
    int signal, frames;
    const char* rest;  // of a frame
    const char* message;
  } cases[] = {
      {SIGINT, 0, "", "SIGINT before the first frame; nothing was written\n"},
      {SIGINT, 3, "", "stopped by SIGINT; x.avi has the 3 frames before\n"},
      {SIGTERM, 3, "FRAME\nabc", "stopped by SIGTERM; x.avi has the 3 frames before\n"},
      {SIGHUP, 1, "FR", "stopped by SIGHUP; x.avi has the frame before\n"},
  };
  // The pipe stays open: its writer has fallen silent. With both ends open here, neither open nor
  // write waits for the command.
  ASSERT_EQ(mkfifo(folder_.Path("pipe").c_str(), 0600), 0);
  const int pipe = open(folder_.Path("pipe").c_str(), O_RDWR | O_CLOEXEC);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    std::filesystem::remove(folder_.Path("x.avi"));
    const std::string film = Y4m("", c.frames, 64, 48) + c.rest;
    ASSERT_EQ(write(pipe, film.data(), film.size()), static_cast<ssize_t>(film.size()));
    const int status = EncodeUntil(c.signal, "pipe", [&] {
      int left = 0;
      return ioctl(pipe, FIONREAD, &left) == 0 && left == 0;
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 128 + c.signal) << status;
    EXPECT_FALSE(Exists(unfinished_));
    EXPECT_EQ(Text("errors.txt"), "tkmjpg: x.avi: " + std::string(c.message));
    ASSERT_EQ(Exists("x.avi"), c.frames > 0);
    if (c.frames > 0) ExpectWhole("x.avi", c.frames);
  }
  close(pipe);
}

TEST_F(FilmEnd, RepairFixesWhatAKilledOneLeft) {
  EncodeUntil(SIGKILL, "testcard:720x576@25:100000",
              [&] { return std::filesystem::file_size(folder_.Path(unfinished_)) > 1'000'000; });
  EXPECT_FALSE(Exists("x.avi"));
  RunWell("repair -q " + unfinished_ + " fixed.avi");
  const std::string info = RunWell("info --json fixed.avi");
  std::smatch frames;
  ASSERT_TRUE(std::regex_search(info, frames, std::regex("\\{\"frames\": ([0-9]+), "))) << info;
  ExpectWhole("fixed.avi", std::stoi(frames[1]));
  RunWell("encode -q testcard:720x576@25:" + frames[1].str() + " same.avi");
  EXPECT_EQ(RunWell("md5 fixed.avi"), RunWell("md5 same.avi"));
}

TEST_F(FilmEnd, AFullDiskKeepsTheFramesBefore) {
  RunWell("encode -q testcard:320x240@25:60 film.avi");
  const struct {
    const char* line;  // writes `output`
    const char* output;
  } cases[] = {{"encode -q testcard:320x240@25:60 x.avi", "x.avi"},
               {"encode -q testcard:320x240@25:60 --keep-going x.avi", "x.avi"},
               {"encode -q testcard:320x240@25:60 x.mjpg", "x.mjpg"},
               {"repair -q film.avi x.avi", "x.avi"},
               {"decode -q film.avi x.y4m", "x.y4m"},
               {"decode -q film.avi --layout YUY2 x.avi", "x.avi"}};
  for (const auto& c : cases) {
    for (const int blocks : {700, 1001, 1302}) {  // of 512 bytes
      SCOPED_TRACE(testing::Message() << c.line << " " << blocks);
      const Result result =
          Shell("ulimit -f " + std::to_string(blocks) + "; " TKMJPG_COMMAND " " + c.line);
      EXPECT_EQ(result.code, 1);
      std::smatch said;
      const std::regex form(
          "tkmjpg: (.*): File too large; (.*) has the ([0-9]+ )?frames? before\n");
      ASSERT_TRUE(std::regex_match(result.errors, said, form)) << result.errors;
      EXPECT_EQ(said[1], c.output);
      EXPECT_LE(Output(c.output).size(), static_cast<size_t>(blocks) * 512);
      const int frames = said[3].length() == 0 ? 1 : std::stoi(said[3]);
      const std::string line = c.line;
      if (line.find("decode") == std::string::npos && line.find(".avi") != std::string::npos) {
        ExpectWhole(c.output, frames);
      }
      if (line.ends_with(".y4m")) {
        EXPECT_EQ(Output(c.output).size() % (320 * 240 * 2 + 6), Text(c.output).find('\n') + 1);
      }
      std::filesystem::remove(folder_.Path(c.output));
    }
  }
}

TEST_F(FilmEnd, AProducerThatDiesKeepsTheFramesBefore) {
  const std::string film = Y4m("", 5, 32, 32);
  WriteFile("cut.y4m", film.substr(0, film.size() - 1));
  WriteFile("four.y4m", Y4m("", 4, 32, 32));
  RunWell("encode -q four.y4m four.mjpg");
  for (const char* input : {"cut.y4m", "- <cut.y4m", "--keep-going cut.y4m"}) {
    const Result result =
        Run(std::string("encode -qf cut.mjpg ").insert(11, std::string(input) + " "));
    EXPECT_EQ(result.code, 1) << input;
    ExpectHas(result.errors, "ends within frame 4");
    ExpectHas(result.errors, "; cut.mjpg has the 4 frames before\n");
    EXPECT_EQ(Output("cut.mjpg"), Output("four.mjpg"));
  }
}

TEST_F(FilmEnd, WarnsOfASizeThatIsMissed) {
  const struct {
    const char* options;
    const char* warning;  // empty for none
  } cases[] = {{"--bitrate 100k", "instead"},    {"--bitrate 6M", ""},
               {"--bitrate 900M", "instead"},    {"--target-size 30k", ""},
               {"--target-size 500", "instead"}, {"--quality 50", ""},
               {"-q --bitrate 100k", ""}};
  for (const auto& c : cases) {
    const Result result = Run(std::string("encode testcard:320x240@25:25 -f x.avi ") + c.options);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors.find("warning: ") != std::string::npos, c.warning[0] != '\0')
        << c.options << result.errors;
  }
}

}  // namespace
