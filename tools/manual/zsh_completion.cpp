#include "tools/manual/manual_files.h"

namespace tkmjpg::manual {
namespace {

// Text within single quotes, where _arguments reads brackets and colons.
std::string Escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\''";
      continue;
    }
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

std::string Action(const OptionDescription& option) {
  if (option.value.empty()) return {};
  std::string text(1, ':');
  text.append(Escaped(option.value)).append(":");
  if (option.choices.empty()) {
    return text + (option.value == "TEXT" || option.value == "FILE" ? "_files" : " ");
  }
  text += "(";
  for (const std::string& choice : option.choices) {
    text += (text.ends_with("(") ? "" : " ") + choice;
  }
  return text + ")";
}

std::string OptionSpecs(const std::vector<OptionDescription>& options) {
  std::string text;
  for (const OptionDescription& option : options) {
    for (const std::string& name : option.names) {
      text += " \\\n        '" + std::string(option.many ? "*" : "") + name + "[" +
              Escaped(option.help) + "]" + Action(option) + "'";
    }
  }
  return text;
}

std::string ArgumentSpecs(const std::vector<OptionDescription>& arguments) {
  std::string text;
  for (const OptionDescription& argument : arguments) {
    const std::string name = argument.many ? "*" : argument.required ? "" : ":";
    text += " \\\n        '" + name + ":" + argument.names.front() + ":_files'";
  }
  return text;
}

}  // namespace

ManualFile ZshCompletion(const CommandDescription& command) {
  std::string names, cases;
  const std::string shared = OptionSpecs(SharedOptions(command));
  for (const CommandDescription& sub : command.subcommands) {
    names += "    '" + sub.name + ":" + Escaped(sub.summary) + "'\n";
    cases += "    " + sub.name + ")\n      _arguments -s" + OptionSpecs(sub.options) + shared +
             ArgumentSpecs(sub.arguments) + "\n      ;;\n";
  }
  std::string text = "#compdef " + command.name + "\n";
  text += "# Completion of " + command.name + " for zsh, made when it is built.\n";
  text += "_" + command.name + "() {\n  local line state\n  local -a subcommands=(\n";
  text += names + "  )\n  _arguments -C" + OptionSpecs(command.options);
  text +=
      " \\\n        '1:subcommand:->subcommand' \\\n        '*::argument:->arguments'\n"
      "  case $state in\n"
      "    subcommand) _describe subcommand subcommands; return ;;\n"
      "    arguments) ;;\n"
      "    *) return ;;\n"
      "  esac\n"
      "  case $words[1] in\n";
  text += cases + "  esac\n}\n_" + command.name + " \"$@\"\n";
  return {"zsh/vendor-completions/_" + command.name, text};
}

}  // namespace tkmjpg::manual
