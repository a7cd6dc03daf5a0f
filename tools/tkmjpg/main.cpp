// tkmjpg: the command. One file a subcommand; this one lists them and turns errors into exit codes.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "cpu/cpu_rung.h"
#include "tkmjpg_version.h"
#include "tools/tkmjpg/commands/command_line.h"
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
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/print.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr int kBadInput = 1;
constexpr int kBadUsage = 2;
constexpr int kInterrupted = 128 + SIGINT;

// All of them, also those of other processors.
std::string RungNames() {
  std::string names;
  for (int i = 0; i < kCpuRungCount; ++i) {
    names += (i == 0 ? "" : ", ") + std::string(CpuRungName(static_cast<CpuRung>(i)));
  }
  return names;
}

void ForceCpu(const std::string& name) {
  const auto rung = CpuRungByName(name);
  if (!rung) throw UsageError("--cpu: '" + name + "' is none of " + RungNames());
  if (!ForceCpuRung(*rung)) throw UsageError("--cpu: this processor or build has no " + name);
}

int Report(const std::string& what, int exit_code) {
  std::fprintf(stderr, "tkmjpg: %s\n", Printable(what).c_str());
  return exit_code;
}

int Run(int argc, char** argv) {
  const CommandLine line("tkmjpg", TKMJPG_VERSION,
                         "Motion-JPEG: raw video in and out, exact and fast.");
  line.AddGlobal("--cpu", ForceCpu, "use these instructions and no faster ones: " + RungNames())
      .ValueName("RUNG");
  AddEncodeCommand(line);
  AddDecodeCommand(line);
  AddCompareCommand(line);
  AddInfoCommand(line);
  AddMd5Command(line);
  AddRepairCommand(line);
  AddTestcardCommand(line);
  AddConfigureCommand(line);
  AddDoctorCommand(line);
  try {
    line.Run(argc, argv);
    FlushPrinted();
    return Interrupted() ? kInterrupted : 0;
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
