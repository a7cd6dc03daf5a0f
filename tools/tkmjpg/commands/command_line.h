// The subcommands and options of the command. CLI11 takes long to compile: command_line.cpp and
// did_you_mean.cpp alone include it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/tkmjpg/commands/command_description.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tkmjpg::tool {

// One option or argument; the calls can be chained.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}
  Option Required() const;
  Option ShowDefault() const;  // the help tells the value that the variable has now
  Option Within(int lowest, int highest) const;
  Option NotNegative() const;
  Option OneOf(const std::vector<std::string>& values) const;
  Option Excludes(Option other) const;
  Option ValueName(const std::string& name) const;
  // Tells the values that are accepted, where something else checks them.
  Option ShowChoices(const std::string& name, const std::vector<std::string>& values) const;
  Option OneValueEachTime() const;

 private:
  CLI::Option* option_;
};

// A subcommand. Variables are set when the line is parsed, and have to live until then.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}
  // A name without dashes is an argument, known by its place.
  Option Add(const std::string& name, std::string& value, const std::string& help) const;
  Option Add(const std::string& name, int& value, const std::string& help) const;
  Option Add(const std::string& name, int64_t& value, const std::string& help) const;
  Option Add(const std::string& name, std::optional<int64_t>& value, const std::string& help) const;
  // An option that may be given without its value, which is empty then.
  Option Add(const std::string& name, std::optional<std::string>& value,
             const std::string& help) const;
  Option Add(const std::string& name, std::vector<std::string>& values,
             const std::string& help) const;
  Option AddFlag(const std::string& names, bool& value, const std::string& help) const;
  void Footer(const std::string& text) const;
  void Run(const std::function<void()>& run) const;

 private:
  CLI::App* app_;
};

class CommandLine {
 public:
  CommandLine(const std::string& name, const std::function<std::string()>& version,
              const std::string& description);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Command AddCommand(const std::string& name, const std::string& description) const;
  // An option of all subcommands, given to `use`.
  Option AddGlobal(const std::string& name, const std::function<void(const std::string&)>& use,
                   const std::string& help) const;
  // Runs the subcommand of the line, or prints the help or version that it asks for. Throws
  // UsageError, and what the subcommand throws.
  void Run(int argc, char** argv);

  CommandDescription Describe() const;
  // Of the line that Run has been given, without the name of the program.
  const std::vector<std::string>& Words() const { return words_; }

 private:
  std::unique_ptr<CLI::App> app_;
  std::vector<std::string> words_;
};

}  // namespace tkmjpg::tool
