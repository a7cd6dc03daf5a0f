// tkmjpg: the command. Subcommands are listed in commands/subcommands; this turns errors into exit
// codes.
#include <cstdio>
#include <exception>
#include <string>

#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/commands/subcommands.h"
#include "tools/tkmjpg/commands/version_text.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr int kBadInput = 1;
constexpr int kBadUsage = 2;
constexpr int kDamaged = 3;
constexpr int kSignalled = 128;  // and the signal's number

int Report(const std::string& what, int exit_code) {
  std::fprintf(stderr, "tkmjpg: %s\n", Printable(what).c_str());
  return exit_code;
}

int Run(int argc, char** argv) {
  CommandLine line(kCommandName, VersionText, kCommandSummary);
  AddSubcommands(line);
  try {
    line.Run(argc, argv);
    FlushPrinted();
    return Interrupted() ? kSignalled + InterruptSignal() : 0;
  } catch (const UsageError& error) {
    return Report(error.what(), kBadUsage);
  } catch (const Interruption& error) {
    return Report(error.what(), kSignalled + InterruptSignal());
  } catch (const DamageError& error) {
    return Report(error.what(), kDamaged);
  } catch (const std::exception& error) {
    return Report(error.what(), kBadInput);
  }
}

}  // namespace
}  // namespace tkmjpg::tool

int main(int argc, char** argv) { return tkmjpg::tool::Run(argc, argv); }
