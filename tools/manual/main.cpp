// Writes the manual pages and the completion of shells. usage: tkmjpg_manual FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tools/manual/manual_files.h"
#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/commands/subcommands.h"

namespace tkmjpg::manual {
namespace {

std::vector<ManualFile> AllFiles() {
  const tool::CommandLine line(
      tool::kCommandName, [] { return std::string(); }, tool::kCommandSummary);
  tool::AddSubcommands(line);
  const CommandDescription command = line.Describe();
  std::vector<ManualFile> files = ManPages(command);
  files.push_back(ProfilePage());
  files.push_back(BashCompletion(command));
  files.push_back(ZshCompletion(command));
  files.push_back(FishCompletion(command));
  return files;
}

bool Write(const std::filesystem::path& folder, const ManualFile& file) {
  const std::filesystem::path path = folder / file.path;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary);
  out << file.text;
  out.close();
  if (!out) std::fprintf(stderr, "tkmjpg_manual: %s: cannot be written\n", path.c_str());
  return static_cast<bool>(out);
}

}  // namespace
}  // namespace tkmjpg::manual

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: tkmjpg_manual FOLDER\n", stderr);
    return 2;
  }
  for (const tkmjpg::manual::ManualFile& file : tkmjpg::manual::AllFiles()) {
    if (!tkmjpg::manual::Write(argv[1], file)) return 1;
  }
  return 0;
}
