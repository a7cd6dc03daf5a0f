// The driver's stored settings by name, read and written through its dialog.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tkmjpg::tool {

// A check box of the dialog, under a name that a script can write.
struct Setting {
  std::string name;
  std::string label;   // as in the dialog
  std::string effect;  // when ticked
  bool on;

  bool operator==(const Setting&) const = default;
};

struct Settings {
  int quality = 0;  // 0 to 100
  std::vector<Setting> boxes;

  bool operator==(const Settings&) const = default;
};

// What the dialog shows when it is opened.
Settings ReadSettings();

// What is to change, in this order.
struct SettingsChange {
  bool reset = false;                    // press Default
  std::vector<std::string> assignments;  // "one-field-smart=on", "quality=75"
};

// Does so and presses OK. Throws UsageError, with nothing changed, if an assignment is none, and
// InputError if the settings could not be stored.
void ChangeSettings(const SettingsChange& change);

// "one-field-smart=on|off", one a line.
std::string SettingNames();

}  // namespace tkmjpg::tool
