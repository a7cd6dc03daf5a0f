// `tkmjpg configure`, by its options and in a terminal, and `tkmjpg doctor`.
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <csignal>

#include "cpu/cpu_rung.h"
#include "tests/command_runner.h"
#include "tkmjpg_version.h"

namespace {

constexpr char kIdentity[] = "Motion-JPEG (MJPG_Tarnwick Video V" TKMJPG_VERSION ")\n";

class SettingsCommand : public CommandTest {
 protected:
  SettingsCommand() { setenv("XDG_CONFIG_HOME", folder_.Path(".").c_str(), 1); }
  ~SettingsCommand() override { unsetenv("XDG_CONFIG_HOME"); }

  std::string Profile() const { return Text("tkmjpg/profile.ini"); }

  // Starts the dialog in a terminal of `columns` x 24 and presses the keys once it is drawn.
  Result InTerminal(unsigned short columns, const std::string& keys) const {
    const winsize size = {24, columns, 0, 0};
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
      setenv("TERM", "linux", 1);
      execl(TKMJPG_COMMAND, "tkmjpg", "configure", nullptr);
      _exit(127);
    }
    std::string screen;
    char part[4096];
    pollfd ready = {terminal, POLLIN, 0};
    bool pressed = false;
    while (poll(&ready, 1, 20000) == 1) {
      const ssize_t count = read(terminal, part, sizeof part);
      if (count <= 0) break;
      screen.append(part, static_cast<size_t>(count));
      if (pressed || screen.find("Cancel") == std::string::npos) continue;
      pressed = write(terminal, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
    }
    kill(child, SIGKILL);  // one that still runs hangs
    int status = -1;
    waitpid(child, &status, 0);
    close(terminal);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, screen, ""};
  }
};

std::string Stored(uint32_t word, int quality) {
  char text[100];
  std::snprintf(text, sizeof text, "[TKMJPG]\nMJPG_CF_Flags=0x%08X\nMJPG_Default_Quality=%i\n",
                word, quality);
  return text;
}

constexpr struct {
  const char* name;
  uint32_t bit;
  bool inverted;
  const char* label;
} kBoxes[] = {
    {"opendml-size-only", 0x4000000, true, "OpenDML Size only"},
    {"interlace-enable", 0x80000, false, "Interlace Enable"},
    {"encoder-one-field-only", 0x2, false, "One Field only"},
    {"encoder-inverted-fields-order", 0x4, false, "Inverted Fields Order"},
    {"invert-avi1-order", 0x20, false, "Invert AVI1 Order"},
    {"bitrate-control-enable", 0x1000000, false, "Bitrate control Enable"},
    {"strong-bitrate-control", 0x80, false, "Strong Bitrate control"},
    {"quality-as-framesize", 0x2000000, false, "Use QUALITY as Framesize (kB)"},
    {"decoder-one-field-only", 0x200, false, "One Field only"},
    {"one-field-smart", 0x100, false, "One Field Smart"},
    {"decoder-invert-fields-order", 0x400, false, "Invert Fields Order"},
    {"yuy2-disable", 0x100000, false, "YUY2 disable"},
    {"uyvy-disable", 0x200000, false, "UYVY disable"},
    {"use-avi1-markers", 0x2000, false, "Use AVI1 Markers"},
    {"full-color", 0x4000, false, "Full Color (ignore ITU601)"},
};

std::string Shown(uint32_t word, int quality) {
  char line[100];
  std::snprintf(line, sizeof line, "%-30s %-4d Default quality\n", "quality", quality);
  std::string text = line;
  for (const auto& box : kBoxes) {
    const bool on = ((word & box.bit) != 0) != box.inverted;
    std::snprintf(line, sizeof line, "%-30s %-4s %s\n", box.name, on ? "on" : "off", box.label);
    text += line;
  }
  return text;
}

TEST_F(SettingsCommand, ConfigureSetsWhatItIsTold) {
  EXPECT_EQ(RunWell("configure --show"), Shown(0x84100, 60));
  EXPECT_EQ(Profile(), "") << "looking stores nothing";
  for (const auto& box : kBoxes) {
    const bool on = ((0x84100 & box.bit) == 0) != box.inverted;
    EXPECT_EQ(RunWell("configure --set " + std::string(box.name) + (on ? "=on" : "=off") +
                      " --reset --set quality=7 --show"),
              Shown(0x84100 ^ box.bit, 7));
    EXPECT_EQ(Profile(), Stored(0x84100 ^ box.bit, 7)) << box.name;
  }
  RunWell("configure --set full-color=on --set full-color=on --set quality=100");
  EXPECT_EQ(Profile(), Stored(0x84100, 100));
  RunWell("configure --reset");
  EXPECT_EQ(Profile(), Stored(0x84100, 60));
}

TEST_F(SettingsCommand, ConfigureRefusesWhatItCannotStore) {
  constexpr struct {
    int code;
    const char *options, *message;
  } kCases[] = {
      {2, "--set quality=101", "quality is 0 to 100"},
      {2, "--set quality=-1", "quality is 0 to 100"},
      {2, "--set quality=5x", "quality is 0 to 100"},
      {2, "--set quality", "no '='"},
      {2, "--set full-color=yes", "on or off"},
      {2, "--set quality=5 --set colour=on", "no such setting"},
      {2, "</dev/null", "no terminal here"},
  };
  for (const auto& c : kCases) {
    ExpectRefusal(std::string("configure ") + c.options, c.code, c.message);
    EXPECT_FALSE(Exists("tkmjpg")) << c.options;
  }
  WriteFile("tkmjpg", Bytes());
  ExpectRefusal("configure --set quality=5", 1, "tkmjpg/profile.ini: the settings could not be");
  unsetenv("XDG_CONFIG_HOME");
  const Result homeless = Shell("unset HOME; " TKMJPG_COMMAND " configure --set quality=5");
  EXPECT_EQ(homeless.code, 1);
  EXPECT_EQ(homeless.errors, "tkmjpg: configure: neither XDG_CONFIG_HOME nor HOME says where\n");
}

TEST_F(SettingsCommand, ConfigureInATerminal) {
  const std::string tabs(std::size(kBoxes), '\t'), page_up = "\x1B[5~", page_down = "\x1B[6~";
  const struct {
    unsigned short columns;
    std::string keys;
    int code;
    std::string profile;
  } cases[] = {
      {79, "", 2, ""},
      {80, "+ \x1B\x1B", 0, ""},
      {80, tabs + "\t\t\r", 0, ""},
      {80, " +++-" + page_up + page_up + page_down + tabs + "\r", 0, Stored(0x4084100, 67)},
      {80, tabs + "\t\r" + tabs + "\t\t\r", 0, Stored(0x84100, 60)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const Result result = InTerminal(c.columns, c.keys);
    if (result.out.find("without newt") != std::string::npos) GTEST_SKIP() << result.out;
    EXPECT_EQ(result.code, c.code) << result.out;
    EXPECT_EQ(Profile(), c.profile);
  }
}

TEST_F(SettingsCommand, DoctorTellsWhatHolds) {
  const std::string best(tkmjpg::CpuRungName(tkmjpg::HighestCpuRung()));
  const std::string head = std::string("command          ") + TKMJPG_COMMAND +
                           "\n  its codec      " + kIdentity + "shared library   ";
  const std::string cpu = "instructions     plain" +
                          (best == "plain" ? "" : "; this processor and build can do " + best) +
                          "\nprofile          ";
  const std::string blank(17, ' '), own = folder_.Path("./tkmjpg/profile.ini");
  const std::string all_off = blank + "OpenDML Size only: heights to compress are multiples of 8\n";
  const std::string defaults =
      "  holds          0x00084100, quality 60\n" + all_off + blank +
      "Interlace Enable: stored only\n" + blank +
      "One Field Smart: lines between those of one field are interpolated, not doubled\n" + blank +
      "Full Color (ignore ITU601): the stream's luma is taken as 0 to 255, not 16 to 235\n";
  const std::string not_there = " (not there yet; defaults hold)\n";
  const std::string none = "no libtkmjpg.so.3 where the loader looks\n";

  const auto doctor = [this](const std::string& environment) {
    return Shell("LD_LIBRARY_PATH=. " + environment + " " TKMJPG_COMMAND " --cpu plain doctor").out;
  };
  WriteFile("libtkmjpg.so.3", Bytes());  // not loadable, whatever this system has installed
  EXPECT_EQ(doctor(""), head + none + cpu + own + not_there + defaults);
  EXPECT_EQ(doctor("LD_LIBRARY_PATH=" TKMJPG_LIBRARY_FOLDER),
            head + TKMJPG_LIBRARY_FOLDER "/libtkmjpg.so.3\n  its codec      " + kIdentity + cpu +
                own + not_there + defaults);
  EXPECT_EQ(doctor("HOME=/h XDG_CONFIG_HOME=r"),
            head + none + cpu + "/h/.config/tkmjpg/profile.ini" + not_there + defaults);
  EXPECT_EQ(doctor("HOME= XDG_CONFIG_HOME="),
            head + none + cpu + "none: neither XDG_CONFIG_HOME nor HOME is set; defaults hold\n" +
                defaults);
  RunWell("configure --reset");
  EXPECT_EQ(doctor(""), head + none + cpu + own + "\n" + defaults);
  WriteFile("tkmjpg/profile.ini", "[TKMJPG]\nMJPG_CF_Flags=0\nMJPG_Default_Quality=900\n");
  EXPECT_EQ(doctor(""), head + none + cpu + own + "\n  holds          0x00000000, quality 900\n" +
                            blank + "the quality is above 100 and counts as 100\n" + all_off);
}

}  // namespace
