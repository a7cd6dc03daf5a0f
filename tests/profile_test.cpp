// The profile off Windows, as a file that several programs write.
#include "platform/portable/profile.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/driver_host.h"

namespace {

class Profile : public DriverTest {};

// A writer alone with its key: 1 if any of its values did not stay.
int CountUp(const char* key) {
  for (int i = 1; i <= 60; ++i) {
    const bool written = tkmjpg::WriteProfileStringA("A", key, std::to_string(i).c_str()) != 0;
    if (!written || tkmjpg::GetProfileIntA("A", key, -1) != static_cast<UINT>(i)) return 1;
  }
  return 0;
}

TEST_F(Profile, TwoWritersLoseNothing) {
  std::vector<pid_t> writers;
  for (const char* key : {"one", "other"}) {
    writers.push_back(fork());
    if (writers.back() == 0) _exit(CountUp(key));
  }
  for (const pid_t writer : writers) {
    int status = -1;
    EXPECT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
  }
  const std::string text = ProfileText();
  EXPECT_TRUE(text == "[A]\none=60\nother=60\n" || text == "[A]\nother=60\none=60\n") << text;
}

TEST_F(Profile, ANewFileFollowsTheUmaskAndAnOldOneKeepsItsMode) {
  constexpr struct {
    mode_t umask, old, expected;  // 0: there is none
  } kCases[] = {{022, 0, 0644}, {077, 0, 0600}, {002, 0, 0664}, {077, 0644, 0644}, {0, 0600, 0600}};
  for (const auto& c : kCases) {
    std::filesystem::remove(ProfileFile());
    if (c.old != 0) WriteProfile("");
    if (c.old != 0) chmod(ProfileFile().c_str(), c.old);
    const mode_t before = umask(c.umask);
    EXPECT_NE(tkmjpg::WriteProfileStringA("A", "b", "1"), 0);
    umask(before);
    struct stat made {};
    ASSERT_EQ(stat(ProfileFile().c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777, c.expected) << c.umask;
  }
}

TEST_F(Profile, ALinkStaysALink) {
  WriteProfile("");
  const auto target = ProfileFile().parent_path() / "elsewhere";
  for (const bool dangling : {false, true}) {
    std::filesystem::remove(ProfileFile());
    std::filesystem::remove(target);
    if (!dangling) std::ofstream(target) << "; mine\n";
    std::filesystem::create_symlink("elsewhere", ProfileFile());
    EXPECT_NE(tkmjpg::WriteProfileStringA("A", "b", "1"), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(ProfileFile()));
    EXPECT_EQ(ProfileText(), dangling ? "[A]\nb=1\n" : "; mine\n[A]\nb=1\n");
  }
}

}  // namespace
