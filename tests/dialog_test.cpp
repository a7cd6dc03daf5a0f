// The configuration dialog, driven control by control without a screen.
#include <functional>

#include "platform/host_services.h"
#include "tests/driver_host.h"
#include "tkmjpg_version.h"

namespace {

using tkmjpg::Dialog;

constexpr int kOk = 1, kCancel = 2, kBar = 101, kText = 102, kDefault = 105, kOpenDml = 210;

constexpr struct {
  int id;
  uint32_t bit;
} kBoxes[] = {{201, 0x80000},   {202, 0x2},   {203, 0x4},      {204, 0x20},     {207, 0x1000000},
              {208, 0x2000000}, {209, 0x80},  {301, 0x100000}, {302, 0x200000}, {305, 0x200},
              {306, 0x100},     {307, 0x400}, {308, 0x2000},   {309, 0x4000}};

// Its user does as the test says.
class ConfigureDialog : public DriverTest, public tkmjpg::DialogFrontEnd {
 protected:
  ConfigureDialog() { tkmjpg::SetDialogFrontEnd(this); }
  ~ConfigureDialog() override { tkmjpg::SetDialogFrontEnd(nullptr); }

  void Run(Dialog& dialog) override { acts_(dialog); }
  void ShowMessage(std::string_view text, std::string_view caption) override {
    message_.append(caption).append("|").append(text);
  }

  intptr_t Configure(const OpenDriver& driver, std::function<void(Dialog&)> acts) {
    acts_ = std::move(acts);
    return driver.Send(ICM_CONFIGURE);
  }
  void ConfigureProfile(std::function<void(Dialog&)> acts) {
    acts_ = std::move(acts);
    EXPECT_EQ(DriverProc(0, nullptr, DRV_CONFIGURE, 0, 0), 1);
  }

  std::function<void(Dialog&)> acts_;
  std::string message_;
};

// All that it shows is that of these options and this quality.
void ExpectShown(Dialog& dialog, uint32_t options, const char* quality) {
  for (const auto& box : kBoxes) {
    EXPECT_EQ(dialog.Find(box.id)->checked, (options & box.bit) != 0) << box.id;
  }
  EXPECT_EQ(dialog.Find(kOpenDml)->checked, (options & kAnyHeight) == 0);
  EXPECT_EQ(dialog.Find(kText)->text, quality);
  EXPECT_EQ(dialog.Find(kBar)->position, std::stoi(quality));
}

TEST_F(ConfigureDialog, EveryCheckBoxIsItsBit) {
  const OpenDriver driver;
  for (const auto& box : kBoxes) {
    driver.SetOptions(box.bit);
    const auto turn_over = [&](Dialog& dialog) {
      ExpectShown(dialog, box.bit, "60");
      dialog.Click(box.id);
      dialog.Click(kOpenDml);
      EXPECT_EQ(driver.GetState()[2], box.bit) << "nothing changes before OK";
      dialog.Click(kOk);
    };
    EXPECT_EQ(Configure(driver, turn_over), 1);
    EXPECT_EQ(driver.GetState()[2], kAnyHeight) << box.id;
  }
  driver.SetOptions(0xFFFFFFFF);
  Configure(driver, [](Dialog& dialog) { dialog.Click(kOk); });
  EXPECT_EQ(driver.GetState()[2], 0x073867A6u) << "bits without a check box are cleared";
  EXPECT_EQ(ProfileText(), "[TKMJPG]\nMJPG_CF_Flags=0x073867A6\nMJPG_Default_Quality=60\n");
}

TEST_F(ConfigureDialog, TheBarScrollsWithinItsLimits) {
  constexpr struct {
    int start, code, thumb;
    const char* quality;
  } kCases[] = {
      {60, 0, 0, "59"},      {0, 0, 0, "00"},   {60, 1, 0, "61"},  {100, 1, 0, "100"},
      {60, 2, 0, "55"},      {3, 2, 0, "00"},   {60, 3, 0, "65"},  {98, 3, 0, "100"},
      {60, 4, 5, "05"},      {60, 5, 77, "77"}, {60, 4, -1, "00"}, {60, 5, 32767, "100"},
      {60, 4, -32768, "00"}, {60, 6, 9, "60"},  {60, 7, 9, "60"},  {60, 8, 9, "60"},
  };
  for (const auto& c : kCases) {
    WriteProfile("[TKMJPG]\nMJPG_Default_Quality=" + std::to_string(c.start) + "\n");
    ConfigureProfile([&](Dialog& dialog) {
      EXPECT_EQ(dialog.Find(kBar)->position, c.start);
      dialog.Scroll(kBar, c.code, c.thumb);
      ExpectShown(dialog, 0x84100, c.quality);
      dialog.Scroll(kOpenDml, 1, 0);
      ExpectShown(dialog, 0x84100, c.quality);
    });
  }
}

TEST_F(ConfigureDialog, ShowsTheInstanceOrElseTheProfile) {
  WriteProfile("[TKMJPG]\nMJPG_CF_Flags=0x80\nMJPG_Default_Quality=5\n");
  const OpenDriver driver;
  WriteProfile("[TKMJPG]\nMJPG_CF_Flags=0x2\nMJPG_Default_Quality=900\n");
  Configure(driver, [](Dialog& dialog) { ExpectShown(dialog, 0x80, "05"); });
  ConfigureProfile([](Dialog& dialog) {
    ExpectShown(dialog, 0x2, "100");
    dialog.Click(kOk);
  });
  EXPECT_EQ(ProfileText(), "[TKMJPG]\nMJPG_CF_Flags=0x00000002\nMJPG_Default_Quality=100\n");
  EXPECT_EQ(driver.GetState(), (Words{kMjpg, 500, 0x80, 0})) << "the profile's touches no instance";
  EXPECT_EQ(driver.DefaultQuality(), 500u);
}

TEST_F(ConfigureDialog, OkAloneSetsTheProfileAndTheInstance) {
  const std::string profile = "[TKMJPG]\nMJPG_CF_Flags=0x2\nMJPG_Default_Quality=42\n";
  WriteProfile(profile);
  const OpenDriver driver;
  const auto cancel = [](Dialog& dialog) {
    dialog.Click(kDefault);
    EXPECT_FALSE(dialog.ended());
    ExpectShown(dialog, 0x84100, "60");
    dialog.Click(kCancel);
    EXPECT_TRUE(dialog.ended());
  };
  EXPECT_EQ(Configure(driver, cancel), 0);
  EXPECT_EQ(Configure(driver, [](Dialog& dialog) { dialog.Click(4711); }), 0) << "walked away";
  acts_ = [](Dialog&) { ADD_FAILURE() << "only asked for"; };
  EXPECT_EQ(driver.Send(ICM_CONFIGURE, -1), ICERR_OK);
  EXPECT_EQ(ProfileText(), profile);
  EXPECT_EQ(driver.GetState(), (Words{kMjpg, 4200, 0x2, 0}));
  EXPECT_EQ(driver.DefaultQuality(), 4200u);

  const auto choose = [](Dialog& dialog) {
    dialog.Click(306);
    dialog.Scroll(kBar, 4, 7);
    dialog.Click(kOk);
    EXPECT_TRUE(dialog.ended());
  };
  EXPECT_EQ(Configure(driver, choose), 1);
  EXPECT_EQ(ProfileText(), "[TKMJPG]\nMJPG_CF_Flags=0x00000102\nMJPG_Default_Quality=7\n");
  EXPECT_EQ(driver.GetState(), (Words{kMjpg, 4200, 0x102, 0})) << "its quality stays";
  EXPECT_EQ(driver.DefaultQuality(), 700u);
}

TEST_F(ConfigureDialog, AboutBox) {
  const OpenDriver driver;
  EXPECT_EQ(driver.Send(ICM_ABOUT, -1), ICERR_OK);
  EXPECT_EQ(message_, "");
  EXPECT_EQ(driver.Send(ICM_ABOUT), ICERR_OK);
  EXPECT_EQ(message_, "Motion-JPEG |Tarnwick Video V" TKMJPG_VERSION);
}

}  // namespace
