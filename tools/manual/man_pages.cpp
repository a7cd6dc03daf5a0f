#include <algorithm>
#include <cctype>
#include <sstream>

#include "tkmjpg_version.h"
#include "tools/manual/manual_files.h"

namespace tkmjpg::manual {
namespace {

// Text as roff takes it: hyphens that can be copied, nothing that is read as a request.
std::string Escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const bool line_begins = result.empty() || result.back() == '\n';
    if (line_begins && (c == '.' || c == '\'')) result += "\\&";
    result += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return result;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string PageName(const std::string& command, const std::string& subcommand) {
  return subcommand.empty() ? command : command + "-" + subcommand;
}

std::string Header(const std::string& page, const std::string& summary) {
  return ".TH " + Escaped(Upper(page)) +
         " 1 \"\" \"tkmjpg " TKMJPG_VERSION "\" \"User commands\"\n" + ".SH NAME\n" +
         Escaped(page) + " \\- " + Escaped(summary) + "\n";
}

// A line that begins a paragraph of its own: one about an argument, such as "INPUT is ...".
bool BeginsWithArgument(const std::string& line, const CommandDescription& command) {
  return std::ranges::any_of(command.arguments, [&](const OptionDescription& argument) {
    const std::string& name = argument.names.front();
    return line.starts_with(name + " is ") || line.starts_with(name + " and ");
  });
}

// Lines that are indented, as those of a list, keep their shape; the others are filled.
std::string Body(const CommandDescription& command) {
  std::string text;
  bool list = false;
  std::istringstream lines(command.text);
  for (std::string line; std::getline(lines, line);) {
    const bool indented = line.starts_with("  ");
    if (indented != list) text += indented ? ".PP\n.nf\n" : ".fi\n.PP\n";
    list = indented;
    if (line.empty()) {
      if (!text.empty() && !text.ends_with(".PP\n")) text += ".PP\n";
      continue;
    }
    if (!text.empty() && !text.ends_with(".PP\n") && BeginsWithArgument(line, command)) {
      text += ".PP\n";
    }
    text += Escaped(line) + "\n";
  }
  return text + (list ? ".fi\n" : "");
}

std::string Names(const OptionDescription& option) {
  std::string text;
  for (const std::string& name : option.names) {
    text += (text.empty() ? "" : ", ") + ("\\fB" + Escaped(name) + "\\fR");
  }
  if (!option.value.empty()) text += " \\fI" + Escaped(option.value) + "\\fR";
  return text + (option.many ? " ..." : "");
}

std::string Details(const OptionDescription& option) {
  std::string text;
  const auto add = [&](const std::string& what) { text += (text.empty() ? "" : "; ") + what; };
  std::string choices;
  for (const std::string& choice : option.choices)
    choices += (choices.empty() ? "" : ", ") + choice;
  if (!choices.empty()) add("one of " + choices);
  if (!option.range.empty()) add(option.range);
  if (!option.default_value.empty()) add("default " + option.default_value);
  return text.empty() ? "" : " (" + text + ")";
}

std::string Options(const char* title, const std::vector<OptionDescription>& options) {
  if (options.empty()) return {};
  std::string text = std::string(".SH ") + title + "\n";
  for (const OptionDescription& option : options) {
    text += ".TP\n" + Names(option) + "\n" + Escaped(option.help + Details(option)) + "\n";
  }
  return text;
}

std::string Synopsis(const std::string& command, const CommandDescription& subcommand) {
  std::string text = ".SH SYNOPSIS\n\\fB" + command + " " + subcommand.name + "\\fR [options]";
  for (const OptionDescription& argument : subcommand.arguments) {
    const std::string name = "\\fI" + Escaped(argument.names.front()) + "\\fR";
    const std::string one = name + (argument.many ? " ..." : "");
    text += argument.required ? " " + one : " [" + one + "]";
  }
  return text + "\n";
}

std::string Arguments(const CommandDescription& command) {
  std::vector<OptionDescription> arguments = command.arguments;
  for (OptionDescription& argument : arguments) argument.value.clear();
  return Options("ARGUMENTS", arguments);
}

ManualFile SubcommandPage(const CommandDescription& command, const CommandDescription& sub) {
  const std::string page = PageName(command.name, sub.name);
  std::string text = Header(page, sub.summary) + Synopsis(command.name, sub) + Arguments(sub) +
                     Options("OPTIONS", sub.options);
  if (!sub.text.empty()) text += ".SH DESCRIPTION\n" + Body(sub);
  text += ".SH SEE ALSO\n.BR " + command.name + " (1)\n";
  return {"man/man1/" + page + ".1", text};
}

ManualFile CommandPage(const CommandDescription& command) {
  std::string text = Header(command.name, command.summary) + ".SH SYNOPSIS\n\\fB" + command.name +
                     "\\fR \\fISUBCOMMAND\\fR [options] ...\n" + ".SH SUBCOMMANDS\n";
  std::string pages;
  for (const CommandDescription& sub : command.subcommands) {
    text += ".TP\n\\fB" + Escaped(sub.name) + "\\fR\n" + Escaped(sub.summary) + "\n";
    pages += ".BR " + Escaped(PageName(command.name, sub.name)) + " (1),\n";
  }
  text += Options("OPTIONS", command.options);
  text += ".SH SEE ALSO\n" + pages + ".BR tkmjpg (3),\n.BR tkmjpg (5)\n";
  return {"man/man1/" + command.name + ".1", text};
}

}  // namespace

std::vector<ManualFile> ManPages(const CommandDescription& command) {
  std::vector<ManualFile> pages = {CommandPage(command)};
  for (const CommandDescription& sub : command.subcommands) {
    pages.push_back(SubcommandPage(command, sub));
  }
  return pages;
}

}  // namespace tkmjpg::manual
