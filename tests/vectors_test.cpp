// Whole frames through the two exported calls: what goes in and what must come out, byte for byte.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "cpu/cpu_rung.h"
#include "tests/guarded_buffer.h"
#include "tkmjpg.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

Bytes ReadBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// case.txt: one NAME=VALUE a line.
struct Case {
  fs::path folder;
  std::map<std::string, std::string> values;

  explicit Case(const fs::path& path) : folder(path) {
    std::ifstream file(path / "case.txt");
    for (std::string line; std::getline(file, line);) {
      const size_t equals = line.find('=');
      values[line.substr(0, equals)] = line.substr(equals + 1);
    }
  }
  bool Has(const std::string& name) const { return values.count(name) != 0; }
  int64_t Number(const std::string& name) const { return std::stoll(values.at(name), nullptr, 0); }
  int32_t Int(const std::string& name) const { return static_cast<int32_t>(Number(name)); }
  uint32_t Word(const std::string& name) const { return static_cast<uint32_t>(Number(name)); }
  uint32_t Fourcc() const {
    const std::string& name = values.at("fourcc");
    return static_cast<uint32_t>(name[0] | name[1] << 8 | name[2] << 16 | name[3] << 24);
  }
  // Null when the case has none.
  CodecCarryState* Carry(const std::string& name, CodecCarryState& record) const {
    if (!Has(name) || values.at(name) == "null") return nullptr;
    std::istringstream(values.at(name)) >> record.decode_flags >> record.rate_scale;
    return &record;
  }
};

std::vector<fs::path> CaseFolders(const char* direction) {
  std::vector<fs::path> folders;
  for (const auto& entry :
       fs::directory_iterator(fs::path(TKMJPG_TEST_DATA) / "vectors" / direction)) {
    folders.push_back(entry.path());
  }
  std::sort(folders.begin(), folders.end());
  return folders;
}

std::string CaseName(const testing::TestParamInfo<fs::path>& info) {
  std::string name = info.param.filename().string();
  for (char& c : name) {
    if (!isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return std::to_string(info.index) + "_" + name;
}

void ExpectCarry(const Case& c, const CodecCarryState& carry) {
  CodecCarryState wanted{};
  if (c.Carry("carry_after", wanted) == nullptr) return;
  EXPECT_EQ(carry.decode_flags, wanted.decode_flags);
  EXPECT_EQ(carry.rate_scale, wanted.rate_scale);
}

// Each case on every rung that this processor has.
void ForEachRung(const fs::path& folder, void (*check)(const Case&)) {
  const Case c(folder);
  const tkmjpg::CpuRung active = tkmjpg::ActiveCpuRung();
  for (int rung = 0; rung <= static_cast<int>(tkmjpg::HighestCpuRung()); ++rung) {
    ASSERT_TRUE(tkmjpg::ForceCpuRung(static_cast<tkmjpg::CpuRung>(rung)));
    SCOPED_TRACE(tkmjpg::CpuRungName(tkmjpg::ActiveCpuRung()));
    check(c);
  }
  tkmjpg::ForceCpuRung(active);
}

void CheckEncode(const Case& c) {
  const GuardedBuffer input(ReadBytes(c.folder / "input.bin"));
  const Bytes wanted = ReadBytes(c.folder / "output.bin");
  const uint32_t room = c.Has("output_size") ? c.Word("output_size") : 1 << 20;
  const GuardedBuffer output(room);
  CodecCarryState carry{};
  const uint32_t result = CompressBuffer_MJPG(
      input.data() + c.Int("first"), c.Int("stride"), output.data(), room, c.Int("width"),
      c.Int("height"), c.Int("quality"), c.Word("flags"), c.Fourcc(), 0, c.Carry("carry", carry));
  ASSERT_EQ(result, c.Word("result"));
  EXPECT_EQ(Bytes(output.data(), output.data() + result), wanted);
  ExpectCarry(c, carry);
}

class EncodeVectors : public testing::TestWithParam<fs::path> {};

TEST_P(EncodeVectors, Bytes) { ForEachRung(GetParam(), CheckEncode); }

INSTANTIATE_TEST_SUITE_P(Vectors, EncodeVectors, testing::ValuesIn(CaseFolders("encode")),
                         CaseName);

void CheckDecode(const Case& c) {
  const GuardedBuffer stream(ReadBytes(c.folder / "stream.bin"));
  const Bytes wanted = ReadBytes(c.folder / "pixels.bin");
  const GuardedBuffer output(Bytes(wanted.size(), static_cast<uint8_t>(c.Number("fill"))));
  CodecCarryState carry{};
  const uint32_t result = DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()),
                                                output.data() + c.Int("first"), c.Int("stride"),
                                                c.Int("width"), c.Int("height"), c.Word("flags"),
                                                c.Fourcc(), 0, c.Carry("carry", carry));
  EXPECT_EQ(result, c.Word("result"));
  EXPECT_EQ(Bytes(output.data(), output.data() + output.size()), wanted);
  ExpectCarry(c, carry);
}

class DecodeVectors : public testing::TestWithParam<fs::path> {};

TEST_P(DecodeVectors, Pixels) { ForEachRung(GetParam(), CheckDecode); }

INSTANTIATE_TEST_SUITE_P(Vectors, DecodeVectors, testing::ValuesIn(CaseFolders("decode")),
                         CaseName);

}  // namespace
