// The frames of tests/data through both calls: on every rung that this processor has, and through
// the names that the DLL exports.
// usage: vectors_host VECTORS DLL
#include "checks.h"
#include "tests/vector_case.h"

namespace {

template <typename Function>
Function Exported(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const HMODULE library = LoadLibraryA(arguments[2]);
  if (!Check(library != nullptr, "the library loads", arguments[2])) return 1;
  const Codec exported = {
      Exported<decltype(&CompressBuffer_MJPG)>(library, "CompressBuffer_MJPG"),
      Exported<decltype(&DecompressBuffer_MJPG)>(library, "DecompressBuffer_MJPG")};
  const auto folders = VectorFolders(arguments[1]);
  for (const auto& folder : folders) {
    const VectorCase vector(folder);
    for (const auto& wrong : {vector.DifferenceOnRungs(), vector.Difference(exported)}) {
      Check(wrong.empty(), folder.string().c_str(), wrong.c_str());
    }
  }
  std::printf("up to %s, and exported: %zu cases\n",
              std::string(tkmjpg::CpuRungName(tkmjpg::HighestCpuRung())).c_str(), folders.size());
  return Summary("vectors");
}
