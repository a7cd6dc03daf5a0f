// Which instructions the command uses: by the environment, by --cpu, else the best there are.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "cpu/cpu_rung.h"

namespace {

using tkmjpg::CpuRung;

// What `doctor` says behind "instructions".
std::string Instructions(const std::string& environment, const std::string& options) {
  const std::string line = environment + " " TKMJPG_COMMAND " " + options + " doctor 2>&1";
  std::FILE* pipe = popen(line.c_str(), "r");
  std::string found, text(1000, '\0');
  while (pipe != nullptr && std::fgets(text.data(), static_cast<int>(text.size()), pipe)) {
    if (text.rfind("instructions", 0) == 0) found = text.substr(0, text.find('\n'));
  }
  if (pipe != nullptr) pclose(pipe);
  const size_t begin = found.find_first_not_of(' ', sizeof "instructions" - 1);
  return begin == std::string::npos ? ""
                                    : found.substr(begin, found.find_first_of(" ;", begin) - begin);
}

TEST(CpuCommand, UsesWhatItIsTold) {
  const std::string best(tkmjpg::CpuRungName(tkmjpg::HighestCpuRung()));
  for (int i = 0; i < tkmjpg::kCpuRungCount; ++i) {
    const auto rung = static_cast<CpuRung>(i);
    const std::string name(tkmjpg::CpuRungName(rung));
    const bool runs = rung <= tkmjpg::HighestCpuRung();
    EXPECT_EQ(Instructions("TKMJPG_CPU=" + name, ""), runs ? name : best) << name;
    EXPECT_EQ(Instructions("TKMJPG_CPU=", "--cpu " + name), runs ? name : "") << name;
    EXPECT_EQ(Instructions("TKMJPG_CPU=plain", "--cpu " + name), runs ? name : "") << name;
  }
  for (const char* environment : {"TKMJPG_CPU=", "TKMJPG_CPU=mmx", "unset TKMJPG_CPU;"}) {
    EXPECT_EQ(Instructions(environment, ""), best) << environment;
  }
}

}  // namespace
