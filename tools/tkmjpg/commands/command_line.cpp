#include "tools/tkmjpg/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/did_you_mean.h"
#include "tools/tkmjpg/terminal/print.h"

namespace tkmjpg::tool {

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

Option Command::Add(const std::string& name, std::vector<std::string>& values,
                    const std::string& help) const {
  return Option(app_->add_option(name, values, help));
}

Option Command::AddFlag(const std::string& names, bool& value, const std::string& help) const {
  return Option(app_->add_flag(names, value, help));
}

void Command::Footer(const std::string& text) const { app_->footer(text); }

void Command::Run(const std::function<void()>& run) const { app_->callback(run); }

CommandLine::CommandLine(const std::string& name, const std::string& version,
                         const std::string& description)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->require_subcommand(1);
  app_->fallthrough();
  app_->set_version_flag("--version", name + " " + version);
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

void CommandLine::Run(int argc, char** argv) const {
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
