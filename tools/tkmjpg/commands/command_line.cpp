#include "tools/tkmjpg/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/did_you_mean.h"
#include "tools/tkmjpg/terminal/print.h"

namespace tkmjpg::tool {
namespace {

std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> words;
  std::istringstream text(list);
  for (std::string word; std::getline(text, word, ',');) words.push_back(word);
  return words;
}

// CLI11 tells what a value may be in the name of its type: "TEXT:{top,bottom}", "INT:INT in [1 -
// 9]".
void DescribeValue(const std::string& type, OptionDescription& option) {
  const size_t colon = type.find(':');
  option.value = type.substr(0, colon);
  if (colon == std::string::npos) return;
  const std::string rule = type.substr(colon + 1);
  const size_t begin = rule.find_first_of("{["), end = rule.find_last_of("}]");
  if (begin == std::string::npos || end == std::string::npos) return;
  const std::string inner = rule.substr(begin + 1, end - begin - 1);
  if (rule[begin] == '{') {
    option.choices = Split(inner);
    return;
  }
  const size_t dash = inner.find(" - ");
  if (dash != std::string::npos)
    option.range = inner.substr(0, dash) + " to " + inner.substr(dash + 3);
}

OptionDescription DescribeOption(const CLI::Option& option) {
  OptionDescription result;
  if (option.get_positional()) result.names.push_back(option.get_name(true));
  if (!option.get_positional()) {
    for (const std::string& name : option.get_snames()) result.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) result.names.push_back("--" + name);
  }
  if (option.get_type_size_max() > 0) DescribeValue(option.get_type_name(), result);
  result.default_value = option.get_default_str();
  result.help = option.get_description();
  result.required = option.get_required();
  result.many = option.get_items_expected_max() > 1;
  return result;
}

CommandDescription DescribeApp(const CLI::App& app) {
  CommandDescription result{app.get_name(), app.get_description(), app.get_footer(), {}, {}, {}};
  for (const CLI::Option* option : app.get_options()) {
    (option->get_positional() ? result.arguments : result.options)
        .push_back(DescribeOption(*option));
  }
  for (const CLI::App* each : app.get_subcommands({})) {
    result.subcommands.push_back(DescribeApp(*each));
  }
  return result;
}

}  // namespace

Option Option::Required() const { return Option(option_->required()); }

Option Option::ShowDefault() const { return Option(option_->capture_default_str()); }

Option Option::Within(int lowest, int highest) const {
  return Option(option_->check(CLI::Range(lowest, highest)));
}

Option Option::NotNegative() const { return Option(option_->check(CLI::NonNegativeNumber)); }

Option Option::OneOf(const std::vector<std::string>& values) const {
  return Option(option_->check(CLI::IsMember(values)));
}

Option Option::Excludes(Option other) const { return Option(option_->excludes(other.option_)); }

Option Option::ValueName(const std::string& name) const { return Option(option_->type_name(name)); }

Option Option::ShowChoices(const std::string& name, const std::vector<std::string>& values) const {
  std::string list;
  for (const std::string& value : values) list += (list.empty() ? "" : ",") + value;
  return ValueName(name + ":{" + list + "}");
}

Option Option::OneValueEachTime() const { return Option(option_->allow_extra_args(false)); }

Option Command::Add(const std::string& name, std::string& value, const std::string& help) const {
  return Option(app_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, int& value, const std::string& help) const {
  return Option(app_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, int64_t& value, const std::string& help) const {
  return Option(app_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, std::optional<int64_t>& value,
                    const std::string& help) const {
  return Option(app_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, std::optional<std::string>& value,
                    const std::string& help) const {
  return Option(app_->add_option(name, value, help)->expected(0, 1));
}

Option Command::Add(const std::string& name, std::vector<std::string>& values,
                    const std::string& help) const {
  return Option(app_->add_option(name, values, help));
}

Option Command::AddFlag(const std::string& names, bool& value, const std::string& help) const {
  return Option(app_->add_flag(names, value, help));
}

void Command::Footer(const std::string& text) const { app_->footer(text); }

void Command::Run(const std::function<void()>& run) const { app_->callback(run); }

CommandLine::CommandLine(const std::string& name, const std::function<std::string()>& version,
                         const std::string& description)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->require_subcommand(1);
  app_->set_help_flag("-h,--help", "print this help");
  app_->fallthrough();
  app_->set_version_flag("--version", version, "print version, build and libraries");
}

CommandLine::~CommandLine() = default;

Command CommandLine::AddCommand(const std::string& name, const std::string& description) const {
  return Command(app_->add_subcommand(name, description));
}

Option CommandLine::AddGlobal(const std::string& name,
                              const std::function<void(const std::string&)>& use,
                              const std::string& help) const {
  return Option(app_->add_option_function<std::string>(name, use, help));
}

CommandDescription CommandLine::Describe() const { return DescribeApp(*app_); }

void CommandLine::Run(int argc, char** argv) {
  words_.assign(argv + 1, argv + argc);
  try {
    app_->parse(argc, argv);
  } catch (const CLI::Success& asked) {
    std::ostringstream text;
    app_->exit(asked, text, text);
    Print("%s", text.str().c_str());
  } catch (const CLI::ParseError& error) {
    throw UsageError(Explain(*app_, error));
  }
}

}  // namespace tkmjpg::tool
