#include "tools/manual/manual_files.h"

namespace tkmjpg::manual {
namespace {

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// Patterns of a case for an option that wants a value: its names after the subcommand's.
std::string Patterns(const std::string& subcommand, const OptionDescription& option) {
  std::string text;
  for (const std::string& name : option.names) {
    if (!text.empty()) text += " | ";
    text.append(subcommand).append(":").append(name);
  }
  return text;
}

// What follows an option: one of its words, nothing that can be known, or a file.
std::string ValueCases(const std::string& subcommand,
                       const std::vector<OptionDescription>& options) {
  std::string text;
  for (const OptionDescription& option : options) {
    if (option.value.empty()) continue;
    const std::string pattern = "    " + Patterns(subcommand, option);
    if (!option.choices.empty()) {
      text += pattern + ") COMPREPLY=($(compgen -W '" + Joined(option.choices) +
              "' -- \"$current\")); return ;;\n";
    } else if (option.value != "TEXT" && option.value != "FILE") {
      text += pattern + ") compopt +o default; return ;;\n";
    } else {
      text += pattern + ") return ;;\n";
    }
  }
  return text;
}

std::vector<std::string> OptionNames(const std::vector<OptionDescription>& options) {
  std::vector<std::string> names;
  for (const OptionDescription& option : options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

}  // namespace

ManualFile BashCompletion(const CommandDescription& command) {
  std::vector<std::string> subcommands;
  std::string values = ValueCases("*", command.options), options, any;
  const std::string shared = Joined(OptionNames(SharedOptions(command)));
  for (const CommandDescription& sub : command.subcommands) {
    subcommands.push_back(sub.name);
    any += (any.empty() ? "" : " | ") + sub.name;
    values += ValueCases(sub.name, sub.options);
    options += "    " + sub.name + ") words='" + Joined(OptionNames(sub.options)) + " " + shared;
    options += "' ;;\n";
  }
  options += "    *) words='" + Joined(subcommands) + " ";
  options += Joined(OptionNames(command.options)) + "' ;;\n";

  std::string text = "# Completion of " + command.name + " for bash, made when it is built.\n";
  text += "_" + command.name + "() {\n";
  text +=
      "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
      "  local subcommand='' words='' i\n"
      "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
      "    case ${COMP_WORDS[i]} in ";
  text += any;
  text +=
      ") subcommand=${COMP_WORDS[i]}; break ;; esac\n"
      "  done\n"
      "  COMPREPLY=()\n"
      "  case $subcommand:$previous in\n";
  text += values + "  esac\n  case $subcommand in\n" + options + "  esac\n";
  text +=
      "  # Where no option begins, bash completes the names of files.\n"
      "  [[ $current == -* || -z $subcommand ]] || return\n"
      "  COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n}\n";
  text += "complete -o default -o bashdefault -F _" + command.name + " " + command.name + "\n";
  return {"bash-completion/completions/" + command.name, text};
}

}  // namespace tkmjpg::manual
