// The frames of tests/data/vectors: what goes into the two exported calls and what must come out,
// byte for byte. Also for programs that run where GoogleTest does not.
#pragma once

#include <algorithm>
#include <cstring>
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

struct Codec {
  decltype(&CompressBuffer_MJPG) compress = CompressBuffer_MJPG;
  decltype(&DecompressBuffer_MJPG) decompress = DecompressBuffer_MJPG;
};

// A folder with the data and case.txt: one NAME=VALUE a line.
class VectorCase {
 public:
  explicit VectorCase(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::ifstream file(folder_ / "case.txt", std::ios::binary);
    for (std::string line; std::getline(file, line);) {
      const size_t equals = line.find('=');
      values_[line.substr(0, equals)] = line.substr(equals + 1);
    }
  }

  // Says what is wrong with the result, and nothing when it is right.
  std::string Difference(const Codec& codec) const {
    const bool encodes = values_.count("quality") != 0;
    const Bytes wanted = Data(encodes ? "output.bin" : "pixels.bin");
    const GuardedBuffer from(Data(encodes ? "input.bin" : "stream.bin"));
    const GuardedBuffer to(encodes ? Bytes(Word("output_size", 1 << 20))
                                   : Bytes(wanted.size(), static_cast<uint8_t>(Word("fill"))));
    const auto size = static_cast<uint32_t>((encodes ? to : from).size());
    const uint32_t first = Word("first"), stride = Word("stride"), width = Word("width"),
                   height = Word("height"), flags = Word("flags");
    CodecCarryState state{}, after{};
    CodecCarryState* carry = Carry("carry", state);
    const uint32_t result =
        encodes ? codec.compress(from.data() + first, stride, to.data(), size, width, height,
                                 Word("quality"), flags, Fourcc(), 0, carry)
                : codec.decompress(from.data(), size, to.data() + first, stride, width, height,
                                   flags, Fourcc(), 0, carry);
    if (result != Word("result")) return "result " + std::to_string(result);
    const auto same = std::mismatch(wanted.begin(), wanted.end(), to.data()).first;
    if (same != wanted.end()) return "byte " + std::to_string(same - wanted.begin());
    if (Carry("carry_after", after) == nullptr) return "";
    const bool carried =
        state.decode_flags == after.decode_flags && state.rate_scale == after.rate_scale;
    return carried ? "" : "carried state";
  }
  // On every rung that this processor has.
  std::string DifferenceOnRungs() const {
    const tkmjpg::CpuRung active = tkmjpg::ActiveCpuRung();
    std::string difference;
    for (const tkmjpg::CpuRung rung : tkmjpg::RunnableCpuRungs()) {
      const std::string one = tkmjpg::ForceCpuRung(rung) ? Difference({}) : "cannot be forced";
      if (!one.empty()) difference.append(tkmjpg::CpuRungName(rung)).append(": " + one + "; ");
    }
    tkmjpg::ForceCpuRung(active);
    return difference;
  }

 private:
  using Bytes = std::vector<uint8_t>;

  Bytes Data(const char* name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  uint32_t Word(const char* name) const {
    return static_cast<uint32_t>(std::stoll(values_.at(name), nullptr, 0));
  }
  uint32_t Word(const char* name, uint32_t otherwise) const {
    return values_.count(name) != 0 ? Word(name) : otherwise;
  }
  uint32_t Fourcc() const {
    uint32_t code = 0;
    std::memcpy(&code, values_.at("fourcc").data(), sizeof code);
    return code;
  }
  // Null when the case has none.
  CodecCarryState* Carry(const char* name, CodecCarryState& record) const {
    const auto found = values_.find(name);
    if (found == values_.end() || found->second == "null") return nullptr;
    std::istringstream(found->second) >> record.decode_flags >> record.rate_scale;
    return &record;
  }

  std::filesystem::path folder_;
  std::map<std::string, std::string> values_;
};

inline std::vector<std::filesystem::path> VectorFolders(const std::filesystem::path& vectors) {
  std::vector<std::filesystem::path> folders;
  for (const char* direction : {"encode", "decode"}) {
    std::filesystem::directory_iterator found(vectors / direction);
    for (const auto& entry : found) folders.push_back(entry.path());
  }
  std::sort(folders.begin(), folders.end());
  return folders;
}
