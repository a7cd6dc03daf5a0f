// The configuration dialog, driven control by control without a screen.
#include <gtest/gtest.h>

#include <functional>

#include "platform/host_services.h"
#include "tests/driver_host.h"

namespace {

using tkmjpg::Dialog;

constexpr int kOk = 1, kCancel = 2, kBar = 101, kText = 102, kDefault = 105, kOpenDml = 210;
constexpr uint32_t kAnyHeight = 0x4000000;

constexpr struct {
  int id;
  uint32_t bit;
} kBoxes[] = {{201, 0x80000},   {202, 0x2},   {203, 0x4},      {204, 0x20},     {207, 0x1000000},
              {208, 0x2000000}, {209, 0x80},  {301, 0x100000}, {302, 0x200000}, {305, 0x200},
              {306, 0x100},     {307, 0x400}, {308, 0x2000},   {309, 0x4000}};

// A user who does as the test says.
class User : public tkmjpg::DialogFrontEnd {
 public:
  std::function<void(Dialog&)> acts;
  std::string text, caption;

  void Run(Dialog& dialog) override { acts(dialog); }
  void ShowMessage(std::string_view shown, std::string_view above) override {
    text = shown;
    caption = above;
  }
};

class ConfigureDialog : public DriverTest {
 protected:
  ConfigureDialog() { tkmjpg::SetDialogFrontEnd(&user_); }
  ~ConfigureDialog() override { tkmjpg::SetDialogFrontEnd(nullptr); }

  intptr_t Configure(const OpenDriver& driver, std::function<void(Dialog&)> acts) {
    user_.acts = std::move(acts);
    return driver.Send(ICM_CONFIGURE);
  }
  intptr_t ConfigureProfile(std::function<void(Dialog&)> acts) {
    user_.acts = std::move(acts);
    return DriverProc(0, nullptr, DRV_CONFIGURE, 0, 0);
  }

  User user_;
};

void Ok(Dialog& dialog) { dialog.Click(kOk); }

TEST_F(ConfigureDialog, EveryCheckBoxIsItsBit) {
  const OpenDriver driver;
  for (const auto& box : kBoxes) {
    driver.SetOptions(box.bit);
    EXPECT_EQ(Configure(driver,
                        [&](Dialog& dialog) {
                          for (const auto& other : kBoxes) {
                            EXPECT_EQ(dialog.Find(other.id)->checked, other.id == box.id);
                          }
                          EXPECT_TRUE(dialog.Find(kOpenDml)->checked);
                          dialog.Click(kOk);
                        }),
              1);
    EXPECT_EQ(driver.GetState().options, box.bit) << box.id;
    Configure(driver, [&](Dialog& dialog) {
      dialog.Click(box.id);
      EXPECT_EQ(driver.GetState().options, box.bit) << "nothing changes before OK";
      dialog.Click(kOpenDml);
      dialog.Click(kOk);
    });
    EXPECT_EQ(driver.GetState().options, kAnyHeight) << box.id;
  }
}

TEST_F(ConfigureDialog, OkClearsBitsWithoutACheckBox) {
  const OpenDriver driver;
  driver.SetOptions(0xFFFFFFFF);
  Configure(driver, Ok);
  EXPECT_EQ(driver.GetState().options, 0x073867A6u);
  EXPECT_NE(ProfileText().find("MJPG_CF_Flags=0x073867A6\n"), std::string::npos) << ProfileText();
}

TEST_F(ConfigureDialog, TheBarScrollsWithinItsLimits) {
  const struct {
    int start, code, thumb, position;
    const char* text;
  } cases[] = {
      {60, 0, 0, 59, "59"},     {0, 0, 0, 0, "00"},     {60, 1, 0, 61, "61"},
      {100, 1, 0, 100, "100"},  {60, 2, 0, 55, "55"},   {3, 2, 0, 0, "00"},
      {60, 3, 0, 65, "65"},     {98, 3, 0, 100, "100"}, {60, 4, 5, 5, "05"},
      {60, 5, 77, 77, "77"},    {60, 4, -1, 0, "00"},   {60, 5, 32767, 100, "100"},
      {60, 4, -32768, 0, "00"}, {60, 6, 9, 60, "60"},   {60, 7, 9, 60, "60"},
      {60, 8, 9, 60, "60"},
  };
  for (const auto& c : cases) {
    WriteProfile("[TKMJPG]\nMJPG_Default_Quality=" + std::to_string(c.start) + "\n");
    ConfigureProfile([&](Dialog& dialog) {
      EXPECT_EQ(dialog.Find(kBar)->position, c.start);
      dialog.Scroll(kBar, c.code, c.thumb);
      EXPECT_EQ(dialog.Find(kBar)->position, c.position) << c.start << ' ' << c.code;
      EXPECT_EQ(dialog.Find(kText)->text, c.text);
      auto& other = *dialog.Find(kOpenDml);
      EXPECT_EQ(dialog.Send(tkmjpg::WM_HSCROLL, 1, Param(&other.window)), 1);
      EXPECT_EQ(dialog.Find(kBar)->position, c.position) << "another control's scrolling";
    });
  }
}

TEST_F(ConfigureDialog, ShowsTheInstanceOrElseTheProfile) {
  WriteProfile("[TKMJPG]\nMJPG_CF_Flags=0x80\nMJPG_Default_Quality=5\n");
  const OpenDriver driver;
  WriteProfile("[TKMJPG]\nMJPG_CF_Flags=0x2\nMJPG_Default_Quality=900\n");
  Configure(driver, [](Dialog& dialog) {
    EXPECT_TRUE(dialog.Find(209)->checked);
    EXPECT_FALSE(dialog.Find(202)->checked);
    EXPECT_EQ(dialog.Find(kText)->text, "05");
  });
  ConfigureProfile([](Dialog& dialog) {
    EXPECT_FALSE(dialog.Find(209)->checked);
    EXPECT_TRUE(dialog.Find(202)->checked);
    EXPECT_EQ(dialog.Find(kText)->text, "100") << "limited";
    dialog.Click(kOk);
  });
  EXPECT_EQ(ProfileText(), "[TKMJPG]\nMJPG_CF_Flags=0x00000002\nMJPG_Default_Quality=100\n");
  EXPECT_EQ(driver.GetState().options, 0x80u) << "the profile's dialog touches no instance";
  EXPECT_EQ(driver.DefaultQuality(), 500u);
}

TEST_F(ConfigureDialog, OkSetsTheProfileAndTheInstance) {
  WriteProfile("[TKMJPG]\nMJPG_Default_Quality=42\n");
  const OpenDriver driver;
  EXPECT_EQ(Configure(driver,
                      [](Dialog& dialog) {
                        dialog.Click(306);
                        dialog.Scroll(kBar, 4, 7);
                        dialog.Click(kOk);
                        EXPECT_TRUE(dialog.ended());
                      }),
            1);
  EXPECT_EQ(ProfileText(), "[TKMJPG]\nMJPG_Default_Quality=7\nMJPG_CF_Flags=0x00084000\n");
  EXPECT_EQ(driver.GetState().options, 0x84000u);
  EXPECT_EQ(driver.GetState().quality, 4200u) << "the quality of the state stays";
  EXPECT_EQ(driver.DefaultQuality(), 700u);
}

TEST_F(ConfigureDialog, DefaultAndCancelStoreNothing) {
  const std::string profile = "[TKMJPG]\nMJPG_CF_Flags=0x2\nMJPG_Default_Quality=5\n";
  WriteProfile(profile);
  const OpenDriver driver;
  EXPECT_EQ(Configure(driver,
                      [](Dialog& dialog) {
                        dialog.Click(kDefault);
                        EXPECT_FALSE(dialog.ended());
                        for (const auto& box : kBoxes) {
                          EXPECT_EQ(dialog.Find(box.id)->checked, (0x84100 & box.bit) != 0);
                        }
                        EXPECT_EQ(dialog.Find(kBar)->position, 60);
                        EXPECT_EQ(dialog.Find(kText)->text, "60");
                        dialog.Click(kCancel);
                        EXPECT_TRUE(dialog.ended());
                      }),
            0);
  EXPECT_EQ(Configure(driver, [](Dialog& dialog) { dialog.Click(4711); }), 0) << "walked away";
  EXPECT_EQ(ProfileText(), profile);
  EXPECT_EQ(driver.GetState().options, 2u);
  EXPECT_EQ(driver.DefaultQuality(), 500u);
}

TEST_F(ConfigureDialog, AboutBox) {
  const OpenDriver driver;
  EXPECT_EQ(driver.Send(ICM_ABOUT), ICERR_OK);
  EXPECT_EQ(user_.text, "Tarnwick Video V3.2.16408");
  EXPECT_EQ(user_.caption, "Motion-JPEG ");
}

}  // namespace
