// What a command line accepts, for manual pages and for the completion of shells.
#pragma once

#include <string>
#include <vector>

namespace tkmjpg::tool {

// An option or an argument.
struct OptionDescription {
  std::vector<std::string> names;    // "-f", "--force"; of an argument its one name, "INPUT"
  std::string value;                 // "TEXT", "INT"; empty for a flag
  std::vector<std::string> choices;  // all values that are accepted, if these are words
  std::string range;                 // of a number, "1 to 100"; may be empty
  std::string default_value;         // may be empty
  std::string help;
  bool required = false;
  bool many = false;  // takes several values
};

struct CommandDescription {
  std::string name;
  std::string summary;
  std::string text;  // what the help says after the options, in lines
  std::vector<OptionDescription> arguments, options;
  std::vector<CommandDescription> subcommands;
};

}  // namespace tkmjpg::tool
