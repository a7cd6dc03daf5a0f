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

using Kind = tkmjpg::ControlKind;

constexpr struct {
  Kind kind;
  int id;
  const char* text;
  int x, y, width, height;
} kTemplate[] = {
    {Kind::kFrame, 0, "", 5, 5, 200, 50},
    {Kind::kLabel, 0, " About", 10, 1, 35, 10},
    {Kind::kCentred, 0, "Motion-JPEG Video Codec", 10, 8, 190, 15},
    {Kind::kCentred, 0, "Baseline JPEG 4:2:2, every frame a key frame", 10, 18, 190, 10},
    {Kind::kCentred, 0, "The same bytes and pixels on every machine", 10, 28, 190, 10},
    {Kind::kRight, 0, "Release: ", 50, 48, 50, 15},
    {Kind::kLabel, 0, TKMJPG_VERSION, 100, 48, 50, 15},
    {Kind::kFrame, 0, "", 5, 65, 200, 45},
    {Kind::kLabel, 0, " Encoder", 10, 60, 35, 10},
    {Kind::kCheckBox, 210, "OpenDML Size only", 10, 75, 90, 10},
    {Kind::kCheckBox, 201, "Interlace Enable", 10, 86, 90, 10},
    {Kind::kCheckBox, 202, "One Field only", 100, 86, 90, 10},
    {Kind::kCheckBox, 203, "Inverted Fields Order", 10, 97, 90, 10},
    {Kind::kCheckBox, 204, "Invert AVI1 Order", 100, 97, 90, 10},
    {Kind::kFrame, 0, "", 5, 111, 200, 39},
    {Kind::kCheckBox, 207, "Bitrate control Enable", 10, 114, 90, 10},
    {Kind::kCheckBox, 209, "Strong Bitrate control", 100, 114, 90, 10},
    {Kind::kCheckBox, 208, "Use QUALITY as Framesize (kB)", 10, 125, 120, 10},
    {Kind::kLabel, 0, "&Default quality:", 10, 137, 50, 10},
    {Kind::kRight, 102, "60", 60, 137, 12, 10},
    {Kind::kScrollBar, 101, "", 78, 137, 123, 10},
    {Kind::kFrame, 0, "", 5, 158, 200, 61},
    {Kind::kLabel, 0, " Decoder", 10, 153, 35, 10},
    {Kind::kCheckBox, 305, "One Field only", 10, 168, 85, 10},
    {Kind::kCheckBox, 306, "One Field Smart", 10, 179, 85, 10},
    {Kind::kCheckBox, 307, "Invert Fields Order", 10, 190, 85, 10},
    {Kind::kCheckBox, 301, "YUY2 disable", 100, 168, 85, 10},
    {Kind::kCheckBox, 302, "UYVY disable", 100, 179, 85, 10},
    {Kind::kCheckBox, 308, "Use AVI1 Markers", 100, 190, 85, 10},
    {Kind::kCheckBox, 309, "Full Color (ignore ITU601)", 100, 201, 95, 10},
    {Kind::kButton, 1, "OK", 5, 225, 40, 14},
    {Kind::kButton, 105, "Default", 55, 225, 40, 14},
    {Kind::kButton, 2, "Cancel", 105, 225, 40, 14},
};

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

TEST_F(ConfigureDialog, IsMadeFromItsTemplate) {
  ConfigureProfile([](Dialog& dialog) {
    EXPECT_EQ(dialog.caption(), "Configure");
    EXPECT_EQ(std::pair(dialog.width(), dialog.height()), std::pair(210, 246));
    const auto& controls = dialog.controls();
    ASSERT_EQ(controls.size(), std::size(kTemplate));
    for (size_t i = 0; i < controls.size(); ++i) {
      const auto& made = controls[i];
      const auto& t = kTemplate[i];
      EXPECT_EQ(std::tuple(made.kind, made.id, made.text), std::tuple(t.kind, t.id, t.text)) << i;
      EXPECT_EQ(std::tuple(made.x, made.y, made.width, made.height),
                std::tuple(t.x, t.y, t.width, t.height))
          << t.text;
    }
  });
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
