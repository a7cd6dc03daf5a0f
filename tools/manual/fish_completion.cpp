#include "tools/manual/manual_files.h"

namespace tkmjpg::manual {
namespace {

std::string Quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') result += '\\';
    result += c;
  }
  return result + "'";
}

std::string NameOf(const std::string& name) {
  return name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
}

std::string ValueOf(const OptionDescription& option) {
  if (option.value.empty()) return {};
  if (option.choices.empty()) {
    return option.value == "TEXT" || option.value == "FILE" ? " -r -F" : " -x";
  }
  std::string words;
  for (const std::string& choice : option.choices) words += (words.empty() ? "" : " ") + choice;
  return " -x -a " + Quoted(words);
}

std::string Lines(const std::string& begin, const std::vector<OptionDescription>& options) {
  std::string text;
  for (const OptionDescription& option : options) {
    for (const std::string& name : option.names) {
      text += begin + NameOf(name) + ValueOf(option) + " -d " + Quoted(option.help) + "\n";
    }
  }
  return text;
}

}  // namespace

ManualFile FishCompletion(const CommandDescription& command) {
  const std::string begin = "complete -c " + command.name;
  std::string text = "# Completion for fish; made when " + command.name + " is built.\n" +
                     Lines(begin, command.options);
  for (const CommandDescription& sub : command.subcommands) {
    text +=
        begin + " -n __fish_use_subcommand -f -a " + sub.name + " -d " + Quoted(sub.summary) + "\n";
    text += Lines(begin + " -n '__fish_seen_subcommand_from " + sub.name + "'", sub.options);
  }
  return {"fish/vendor_completions.d/" + command.name + ".fish", text};
}

}  // namespace tkmjpg::manual
