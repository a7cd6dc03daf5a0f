#include "tools/tkmjpg/commands/configure_command.h"

#include <memory>

#include "tools/tkmjpg/commands/settings.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/terminal_dialog.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "The settings are those that programs find when they open the driver; this command's encode\n"
    "and decode use none of them. Storing any of them stores all, as OK in the dialog does.\n"
    "--reset comes before --set, and --show is last.\n"
    "\n"
    "Names and values of --set, and what a setting does when it is on:\n";

struct ConfigureOptions {
  SettingsChange change;
  bool show = false;
};

void Show() {
  const Settings settings = ReadSettings();
  Print("%-30s %-4d Default quality\n", "quality", settings.quality);
  for (const Setting& box : settings.boxes) {
    Print("%-30s %-4s %s\n", box.name.c_str(), box.on ? "on" : "off", box.label.c_str());
  }
}

void Configure(const ConfigureOptions& options) {
  const bool change = options.change.reset || !options.change.assignments.empty();
  if (!change && !options.show) {
    ConfigureInTerminal();
    return;
  }
  if (change) ChangeSettings(options.change);
  if (options.show) Show();
}

}  // namespace

void AddConfigureCommand(const CommandLine& line) {
  const Command command = line.AddCommand("configure", "Settings of the driver, in a dialog");
  auto options = std::make_shared<ConfigureOptions>();
  command.AddFlag("--show", options->show, "print the settings");
  command.Add("--set", options->change.assignments, "NAME=VALUE; more than once if wanted")
      .ValueName("NAME=VALUE")
      .OneValueEachTime();
  command.AddFlag("--reset", options->change.reset, "back to the defaults");
  command.Footer(kFooter + SettingNames());
  command.Run([options] { Configure(*options); });
}

}  // namespace tkmjpg::tool
