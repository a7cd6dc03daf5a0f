// What the command makes of files: links, modes, terminals, numbers, names of any bytes, and of
// settings that are not its own.
#include <fcntl.h>
#include <unistd.h>

#include "tests/command_runner.h"
#include "tools/tkmjpg/media/sequence_name.h"

namespace {

namespace fs = std::filesystem;

constexpr char kEncode[] = TKMJPG_COMMAND " encode -q testcard:32x16@25:3 ";

class CommandFiles : public CommandTest {
 protected:
  fs::perms Mode(const std::string& name) const {
    return fs::status(folder_.Path(name)).permissions();
  }
};

TEST_F(CommandFiles, AReplacedFileKeepsItsModeAndLinks) {
  WriteFile("old.mjpg", "old");
  fs::permissions(folder_.Path("old.mjpg"), fs::perms(0664));
  fs::create_directory(folder_.Path("sub"));
  fs::create_symlink("../old.mjpg", folder_.Path("sub/to_old.mjpg"));
  fs::create_symlink("sub/to_old.mjpg", folder_.Path("to_old.mjpg"));
  fs::create_symlink("sub/new.mjpg", folder_.Path("to_new.mjpg"));
  const struct {
    const char *output, *file;
    int mode;
  } cases[] = {{"plain.mjpg", "plain.mjpg", 0600},
               {"to_old.mjpg -f", "old.mjpg", 0664},
               {"to_new.mjpg", "sub/new.mjpg", 0600}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.output);
    const Result result = Shell(std::string("umask 077; ") + kEncode + c.output);
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_FALSE(fs::is_symlink(folder_.Path(c.file)));
    EXPECT_EQ(Mode(c.file), fs::perms(c.mode));
    EXPECT_EQ(Output(c.file), Output("plain.mjpg"));
  }
  for (const char* link : {"to_old.mjpg", "sub/to_old.mjpg", "to_new.mjpg"}) {
    EXPECT_TRUE(fs::is_symlink(folder_.Path(link))) << link;
  }
}

TEST_F(CommandFiles, KeepsBinaryDataFromTerminals) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(grantpt(terminal) + unlockpt(terminal), 0);
  const std::string name = ptsname(terminal);
  RunWell("encode -q testcard:32x16@25:3 film.mjpg");
  const std::string refusals[] = {"encode testcard:32x16@25:3 - >" + name,
                                  "decode film.mjpg - >" + name,
                                  "decode film.mjpg --layout YUY2 " + name};
  for (const std::string& line : refusals) ExpectRefusal(line, 2, ": is a terminal");
  RunWell("info film.mjpg >" + name);
  close(terminal);
}

TEST_F(CommandFiles, SequencesBeginWhereTheUserSays) {
  RunWell("encode -q testcard:32x16@25:3 f%d.jpg");
  RunWell("testcard 32x16@25:3 f%d.png");
  const tkmjpg::tool::SequenceName from("f%d"), to("g%d"), folders("shot%d");
  const auto copy = [&](const std::string& source, const std::string& target) {
    fs::copy(folder_.Path(source), folder_.Path(target));
  };
  for (int i = 0; i < 3; ++i) {
    fs::create_directory(folder_.Path(folders.Name(9 + i)));
    copy(from.Name(i) + ".jpg", folders.Name(9 + i) + "/g.jpg");
    copy(from.Name(i) + ".jpg", to.Name(9 + i) + ".jpg");
    copy(from.Name(i) + ".png", to.Name(9 + i) + ".png");
  }
  const struct {
    std::string shifted, from_0;
  } cases[] = {
      {"repair g%d.jpg - -q --start 9", "repair f%d.jpg - -q"},
      {"repair shot%d/g.jpg - -q --start 9", "repair f%d.jpg - -q"},
      {"decode g%d.jpg - -q --layout YUY2 --start 10",
       "decode f%d.jpg - -q --layout YUY2 --frames 1:"},
      {"encode g%d.png - -q --start 9", "encode f%d.png - -q"},
      {"md5 g%d.jpg --start 11", "md5 f2.jpg"},
      {"info g%d.jpg --start 9 | grep -c standard", "info f%d.jpg | grep -c standard"},
      {"compare g%d.jpg g%d.png --start 9", "compare f%d.jpg f%d.png"},
  };
  for (const auto& c : cases) {
    const std::string all = RunWell(c.from_0);
    EXPECT_FALSE(all.empty());
    EXPECT_EQ(RunWell(c.shifted), all) << c.shifted;
  }
}

// Any bytes but 0 and the slash may be in a name.
TEST_F(CommandFiles, NamesOfAnyBytes) {
  const std::string name = "a\"\\\xFF\x1B\xC2\x9B\n\xC3\xA9.avi";
  RunWell("encode -q testcard:32x16@25:3 x.avi");
  fs::rename(folder_.Path("x.avi"), folder_.Path(name));
  const struct {
    const char *line, *printed;
  } cases[] = {
      {"info *.avi", "a\"\\\\xff\\x1b\\xc2\\x9b\\x0a\xC3\xA9.avi: OpenDML"},
      {"info *.avi --json", "\"file\": \"a\\\"\\\\\\ufffd\\u001b\\u009b\\u000a\xC3\xA9.avi\", "},
      {"encode testcard:32x16@25:3 *.avi -f 2>&1", "a\"\\\\xff\\x1b\\xc2\\x9b\\x0a\xC3\xA9.avi: 3"},
      {"repair *.avi y.mjpg 2>&1", "y.mjpg: 3 frames"},
  };
  for (const auto& c : cases) {
    const std::string out = RunWell(c.line);
    ExpectHas(out, c.printed);
  }
}

TEST_F(CommandFiles, TheDriversProfileChangesNothing) {
  RunWell("encode -q testcard:32x16@25:3 75.mjpg --quality 75");
  for (const char* quality : {"30", "100"}) {
    const Result result =
        Shell("export XDG_CONFIG_HOME=$PWD/home; " TKMJPG_COMMAND " configure --set quality=" +
              std::string(quality) + " && " + kEncode + "default.mjpg -f");
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(Output("default.mjpg"), Output("75.mjpg")) << quality;
  }
}

}  // namespace
