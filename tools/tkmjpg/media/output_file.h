// One file on its way out: written beside its final name and renamed when whole.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tkmjpg::tool {

enum class Overwrite { kRefuse, kReplace };

class OutputFile {
 public:
  // "-" is standard output. What exists and is no regular file (a pipe, /dev/null) is written as it
  // is; symbolic links are followed, and a file that is replaced leaves its mode. Throws UsageError
  // if `path` exists and must not be replaced, or is a terminal.
  OutputFile(const std::string& path, Overwrite overwrite);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();  // removes what Finish has not made whole

  const std::string& Name() const { return name_; }
  uint64_t Size() const { return size_; }

  void Write(std::span<const uint8_t> bytes);
  // Replaces bytes that were written before. Not for pipes.
  void Patch(uint64_t offset, std::span<const uint8_t> bytes);
  void Finish();

 private:
  void OpenTemporary(Overwrite overwrite);
  void Flush();
  void Store(std::span<const uint8_t> bytes);
  [[noreturn]] void Fail() const;

  std::string name_;
  std::string final_;      // where symbolic links lead
  std::string temporary_;  // empty when written in place
  int descriptor_ = -1;
  uint64_t size_ = 0;
  std::vector<uint8_t> waiting_;
};

}  // namespace tkmjpg::tool
