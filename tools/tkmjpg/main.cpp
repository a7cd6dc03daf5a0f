// tkmjpg: the command. One file a subcommand; this one lists them and turns errors into exit codes.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>

#include "cpu/cpu_rung.h"
#include "tools/tkmjpg/commands/compare_command.h"
#include "tools/tkmjpg/commands/configure_command.h"
#include "tools/tkmjpg/commands/decode_command.h"
#include "tools/tkmjpg/commands/doctor_command.h"
#include "tools/tkmjpg/commands/encode_command.h"
#include "tools/tkmjpg/commands/info_command.h"
#include "tools/tkmjpg/commands/md5_command.h"
#include "tools/tkmjpg/commands/repair_command.h"
#include "tools/tkmjpg/commands/testcard_command.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/did_you_mean.h"
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr int kBadInput = 1;
constexpr int kBadUsage = 2;
constexpr int kInterrupted = 128 + SIGINT;

void ForceCpu(const std::string& name) {
  const auto rung = CpuRungByName(name);
  if (!rung) throw UsageError("--cpu: '" + name + "' is none of plain, avx2, avx512");
  if (!ForceCpuRung(*rung)) throw UsageError("--cpu: this processor or build has no " + name);
}

void AddGlobalOptions(CLI::App& app) {
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", "tkmjpg " TKMJPG_VERSION);
  app.add_option_function<std::string>(
         "--cpu", ForceCpu, "use the instructions of plain, avx2 or avx512 and none above")
      ->type_name("RUNG");
}

void AddCommands(CLI::App& app) {
  AddEncodeCommand(app);
  AddDecodeCommand(app);
  AddCompareCommand(app);
  AddInfoCommand(app);
  AddMd5Command(app);
  AddRepairCommand(app);
  AddTestcardCommand(app);
  AddConfigureCommand(app);
  AddDoctorCommand(app);
}

int Report(const std::string& what, int exit_code) {
  std::fprintf(stderr, "tkmjpg: %s\n", Printable(what).c_str());
  return exit_code;
}

void ParseAndRun(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help_or_version) {
    std::ostringstream text;
    app.exit(help_or_version, text, text);
    Print("%s", text.str().c_str());
  }
  FlushPrinted();
}

int Run(int argc, char** argv) {
  CLI::App app{"Motion-JPEG: raw video in and out, exact and fast.", "tkmjpg"};
  AddGlobalOptions(app);
  AddCommands(app);
  try {
    ParseAndRun(app, argc, argv);
    return Interrupted() ? kInterrupted : 0;
  } catch (const CLI::ParseError& error) {
    return Report(Explain(app, error), kBadUsage);
  } catch (const UsageError& error) {
    return Report(error.what(), kBadUsage);
  } catch (const Interruption& error) {
    return Report(error.what(), kInterrupted);
  } catch (const std::exception& error) {
    return Report(error.what(), kBadInput);
  }
}

}  // namespace
}  // namespace tkmjpg::tool

int main(int argc, char** argv) { return tkmjpg::tool::Run(argc, argv); }
