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
  // Removes what Finish has not made whole; but where the system failed to write, what there is
  // stays beside the final name.
  ~OutputFile();

  const std::string& Name() const { return name_; }
  uint64_t Size() const { return size_; }

  // Makes sure that `bytes` more can be written. Throws if there is no space for them: then what
  // has been written can still be finished.
  void Reserve(uint64_t bytes);
  void Write(std::span<const uint8_t> bytes);
  // All of it or, where there is no space, nothing.
  void WriteWhole(std::span<const uint8_t> bytes) {
    Reserve(bytes.size());
    Write(bytes);
  }
  // Replaces bytes that were written before. Not for pipes.
  void Patch(uint64_t offset, std::span<const uint8_t> bytes);
  void Finish();

 private:
  void OpenTemporary(Overwrite overwrite);
  void Flush();
  void Store(std::span<const uint8_t> bytes);
  bool ReserveTo(uint64_t end);
  bool WriteZeros(uint64_t end);
  [[noreturn]] void Fail() const;
  [[noreturn]] void FailToWrite();

  std::string name_;
  std::string final_;      // where symbolic links lead
  std::string temporary_;  // empty when written in place
  int descriptor_ = -1;
  uint64_t size_ = 0;
  uint64_t reserved_ = 0;  // bytes of the file that there is space for
  bool failed_ = false;    // to write what should have been possible
  std::vector<uint8_t> waiting_;
};

}  // namespace tkmjpg::tool
