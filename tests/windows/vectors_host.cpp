// The frames of tests/data through both calls, byte for byte: on every rung that this processor
// has, and through the names that the DLL exports.
// usage: vectors_host VECTORS DLL
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "checks.h"
#include "cpu/cpu_rung.h"
#include "platform/host_messages.h"
#include "tkmjpg.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

struct Codec {
  std::string name;
  decltype(&CompressBuffer_MJPG) compress;
  decltype(&DecompressBuffer_MJPG) decompress;
};

// Ends at a page that faults.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size) : size_(size) {
    constexpr size_t kPage = 4096;
    const size_t pages = (size + kPage - 1) / kPage * kPage;
    base_ = static_cast<uint8_t*>(
        VirtualAlloc(nullptr, pages + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    if (base_ == nullptr) std::abort();
    DWORD before = 0;
    VirtualProtect(base_ + pages, kPage, PAGE_NOACCESS, &before);
    data_ = base_ + pages - size;
  }
  explicit GuardedBuffer(const Bytes& bytes) : GuardedBuffer(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), data_);
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { VirtualFree(base_, 0, MEM_RELEASE); }
  uint8_t* data() const { return data_; }
  bool Holds(const Bytes& bytes) const { return std::equal(bytes.begin(), bytes.end(), data_); }
  size_t size() const { return size_; }

 private:
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

Bytes ReadBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// case.txt: one NAME=VALUE a line.
struct Case {
  fs::path folder;
  std::map<std::string, std::string> values;

  explicit Case(const fs::path& path) : folder(path) {
    std::ifstream file(path / "case.txt", std::ios::binary);
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
  bool CarryAfterIs(const CodecCarryState& carry) const {
    CodecCarryState wanted{};
    return Carry("carry_after", wanted) == nullptr ||
           (carry.decode_flags == wanted.decode_flags && carry.rate_scale == wanted.rate_scale);
  }
};

bool Encodes(const Case& c, const Codec& codec) {
  const GuardedBuffer input(ReadBytes(c.folder / "input.bin"));
  const Bytes wanted = ReadBytes(c.folder / "output.bin");
  const uint32_t room = c.Has("output_size") ? c.Word("output_size") : 1 << 20;
  const GuardedBuffer output(room);
  CodecCarryState carry{};
  const uint32_t result = codec.compress(
      input.data() + c.Int("first"), c.Int("stride"), output.data(), room, c.Int("width"),
      c.Int("height"), c.Int("quality"), c.Word("flags"), c.Fourcc(), 0, c.Carry("carry", carry));
  return result == c.Word("result") && output.Holds(wanted) && c.CarryAfterIs(carry);
}

bool Decodes(const Case& c, const Codec& codec) {
  const GuardedBuffer stream(ReadBytes(c.folder / "stream.bin"));
  const Bytes wanted = ReadBytes(c.folder / "pixels.bin");
  const GuardedBuffer output(Bytes(wanted.size(), static_cast<uint8_t>(c.Number("fill"))));
  CodecCarryState carry{};
  const uint32_t result =
      codec.decompress(stream.data(), static_cast<uint32_t>(stream.size()),
                       output.data() + c.Int("first"), c.Int("stride"), c.Int("width"),
                       c.Int("height"), c.Word("flags"), c.Fourcc(), 0, c.Carry("carry", carry));
  return result == c.Word("result") && output.Holds(wanted) && c.CarryAfterIs(carry);
}

void RunAll(const fs::path& vectors, const Codec& codec) {
  int cases = 0;
  for (const auto& entry : fs::directory_iterator(vectors / "encode")) {
    Check(Encodes(Case(entry.path()), codec), codec.name.c_str(), entry.path().string().c_str());
    ++cases;
  }
  for (const auto& entry : fs::directory_iterator(vectors / "decode")) {
    Check(Decodes(Case(entry.path()), codec), codec.name.c_str(), entry.path().string().c_str());
    ++cases;
  }
  std::printf("%s: %d cases\n", codec.name.c_str(), cases);
}

template <typename Function>
Function Exported(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  for (int rung = 0; rung <= static_cast<int>(tkmjpg::HighestCpuRung()); ++rung) {
    const auto forced = static_cast<tkmjpg::CpuRung>(rung);
    if (!Check(tkmjpg::ForceCpuRung(forced), "the rung can be forced")) continue;
    const std::string name(tkmjpg::CpuRungName(tkmjpg::ActiveCpuRung()));
    RunAll(arguments[1], {name, CompressBuffer_MJPG, DecompressBuffer_MJPG});
  }
  const HMODULE library = LoadLibraryA(arguments[2]);
  if (Check(library != nullptr, "the library loads", arguments[2])) {
    RunAll(arguments[1],
           {"exported", Exported<decltype(&CompressBuffer_MJPG)>(library, "CompressBuffer_MJPG"),
            Exported<decltype(&DecompressBuffer_MJPG)>(library, "DecompressBuffer_MJPG")});
  }
  return Summary("vectors");
}
