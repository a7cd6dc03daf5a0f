// The files that are made from a command's description.
#pragma once

#include <string>
#include <vector>

#include "tools/tkmjpg/commands/command_description.h"

namespace tkmjpg::manual {

using tool::CommandDescription;
using tool::OptionDescription;

struct ManualFile {
  std::string path;  // below share/
  std::string text;
};

// Options of the command that stand after a subcommand, too: those with a value.
inline std::vector<OptionDescription> SharedOptions(const CommandDescription& command) {
  std::vector<OptionDescription> shared;
  for (const OptionDescription& option : command.options) {
    if (!option.value.empty()) shared.push_back(option);
  }
  return shared;
}

// tkmjpg.1, and a page for each subcommand.
std::vector<ManualFile> ManPages(const CommandDescription& command);

// tkmjpg.5, the file of stored settings.
ManualFile ProfilePage();

ManualFile BashCompletion(const CommandDescription& command);
ManualFile ZshCompletion(const CommandDescription& command);
ManualFile FishCompletion(const CommandDescription& command);

}  // namespace tkmjpg::manual
