// Words of the command line that do not exist, and those that were meant.
#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tkmjpg::tool {

// What to tell of `error`, in one line: the first word that is no subcommand or no option, with the
// known one that comes nearest, else what the error says itself.
std::string Explain(const CLI::App& app, const CLI::ParseError& error);

}  // namespace tkmjpg::tool
