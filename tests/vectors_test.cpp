#include <gtest/gtest.h>

#include "tests/vector_case.h"

namespace {

namespace fs = std::filesystem;

std::string CaseName(const testing::TestParamInfo<fs::path>& info) {
  std::string name = info.param.parent_path().filename().string() + "_" +
                     info.param.filename().string() + "_" + std::to_string(info.index);
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

class Vectors : public testing::TestWithParam<fs::path> {};

TEST_P(Vectors, ComeOutByteForByte) { EXPECT_EQ(VectorCase(GetParam()).DifferenceOnRungs(), ""); }

INSTANTIATE_TEST_SUITE_P(Frames, Vectors,
                         testing::ValuesIn(VectorFolders(TKMJPG_TEST_DATA "/vectors")), CaseName);

}  // namespace
