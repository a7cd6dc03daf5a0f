#include "tools/tkmjpg/commands/subcommands.h"

#include <string>
#include <vector>

#include "cpu/cpu_rung.h"
#include "tools/tkmjpg/commands/compare_command.h"
#include "tools/tkmjpg/commands/configure_command.h"
#include "tools/tkmjpg/commands/decode_command.h"
#include "tools/tkmjpg/commands/doctor_command.h"
#include "tools/tkmjpg/commands/encode_command.h"
#include "tools/tkmjpg/commands/info_command.h"
#include "tools/tkmjpg/commands/join_command.h"
#include "tools/tkmjpg/commands/md5_command.h"
#include "tools/tkmjpg/commands/repair_command.h"
#include "tools/tkmjpg/commands/split_plan_command.h"
#include "tools/tkmjpg/commands/testcard_command.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

// All of them, also those of other processors.
std::vector<std::string> RungNames() {
  std::vector<std::string> names;
  names.reserve(kCpuRungCount);
  for (int i = 0; i < kCpuRungCount; ++i) names.emplace_back(CpuRungName(static_cast<CpuRung>(i)));
  return names;
}

std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

void ForceCpu(const std::string& name) {
  const auto rung = CpuRungByName(name);
  if (!rung) throw UsageError("--cpu: '" + name + "' is none of " + Listed(RungNames()));
  if (!ForceCpuRung(*rung)) throw UsageError("--cpu: this processor or build has no " + name);
}

}  // namespace

void AddSubcommands(const CommandLine& line) {
  line.AddGlobal("--cpu", ForceCpu, "use these instructions and no faster ones")
      .ShowChoices("RUNG", RungNames());
  AddEncodeCommand(line);
  AddDecodeCommand(line);
  AddCompareCommand(line);
  AddInfoCommand(line);
  AddMd5Command(line);
  AddRepairCommand(line);
  AddSplitPlanCommand(line);
  AddJoinCommand(line);
  AddTestcardCommand(line);
  AddConfigureCommand(line);
  AddDoctorCommand(line);
}

}  // namespace tkmjpg::tool
