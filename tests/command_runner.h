// Runs the command as a user does, in a folder that is gone with the test.
#pragma once

#include <sys/wait.h>

#include <cstdlib>

#include "tests/bytes.h"
#include "tests/expect.h"
#include "tests/temporary_folder.h"
#include "tools/tkmjpg/media/avi_writer.h"

inline std::string Y4m(const std::string& tags, int frames, int width, int height) {
  std::string text = "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) +
                     " F25:1 " + tags + "\n";
  for (int f = 0; f < frames; ++f) {
    text += "FRAME\n";
    for (int i = 0; i < width * height * 3 / 2; ++i) text += static_cast<char>(i * (f + 3) % 200);
  }
  return text;
}

class CommandTest : public testing::Test {
 protected:
  struct Result {
    int code;
    std::string out, errors;
  };

  Result Shell(const std::string& line) const {
    const int status = std::system(
        ("cd " + folder_.Path("") + " && (" + line + ") >out.txt 2>errors.txt").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Text("out.txt"), Text("errors.txt")};
  }
  Result Run(const std::string& arguments) const { return Shell(TKMJPG_COMMAND " " + arguments); }
  // What it writes to standard output.
  std::string RunWell(const std::string& arguments) const {
    const Result result = Run(arguments);
    EXPECT_EQ(result.code, 0) << arguments << ": " << result.errors;
    return result.out;
  }

  // `message` in one line that begins as it should, and no output of either name.
  void ExpectRefusal(const std::string& arguments, int code, const char* message) const {
    SCOPED_TRACE(arguments);
    const Result result = Run(arguments);
    EXPECT_EQ(result.code, code);
    EXPECT_EQ(result.errors.rfind("tkmjpg: ", 0), 0U) << result.errors;
    EXPECT_EQ(result.errors.find('\n'), result.errors.size() - 1) << result.errors;
    ExpectHas(result.errors, message);
    EXPECT_FALSE(Exists("x.avi") || Exists("x.y4m") || Exists("x.raw"));
  }

  bool Exists(const std::string& name) const { return std::filesystem::exists(folder_.Path(name)); }
  Bytes Output(const std::string& name) const { return ReadBytes(folder_.Path(name)); }
  std::string Text(const std::string& name) const {
    const Bytes bytes = Output(name);
    return {bytes.begin(), bytes.end()};
  }
  void WriteFile(const std::string& name, const Bytes& bytes) const {
    WriteBytes(folder_.Path(name), bytes);
  }
  void WriteFile(const std::string& name, const std::string& text) const {
    WriteFile(name, Bytes(text.begin(), text.end()));
  }
  void WriteAvi(const std::string& name, const std::vector<Bytes>& frames,
                const tkmjpg::tool::VideoFormat& format) const {
    tkmjpg::tool::AviWriter writer(folder_.Path(name), tkmjpg::tool::MjpgAviVideo(format),
                                   tkmjpg::tool::Overwrite::kReplace);
    for (const Bytes& frame : frames) writer.Write(frame);
    writer.Finish();
  }

  TemporaryFolder folder_;
};
