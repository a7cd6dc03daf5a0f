// A file read from front to back, or past what is not wanted.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tkmjpg::tool {

class InputFile {
 public:
  explicit InputFile(const std::string& path);  // "-" is standard input
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  const std::string& Name() const { return name_; }
  uint64_t Offset() const { return offset_; }  // bytes read so far
  int64_t Size() const { return size_; }       // -1 when unknown, as of a pipe

  // Returns how many bytes were read: fewer than asked for only at the end of the file.
  size_t Read(std::span<uint8_t> bytes);

  // Passes over bytes; returns how many there were. Those of a regular file are not read.
  uint64_t Skip(uint64_t bytes);

  // A line without its line feed; false at the end of the file. Throws InputError if there is no
  // line feed within `longest` bytes.
  bool ReadLine(std::string& line, size_t longest);

  // Throws InputError "NAME: what".
  [[noreturn]] void Fail(const std::string& what) const;

 private:
  size_t Fetch(uint8_t* bytes, size_t size);
  bool Refill();

  std::string name_;
  int descriptor_ = -1;
  int64_t size_ = -1;
  uint64_t offset_ = 0;
  std::vector<uint8_t> ahead_;  // what was read for the sake of a line
  size_t ahead_begin_ = 0, ahead_end_ = 0;
};

// Whether what is read or written under this name comes or goes once only: "-", a named pipe, a
// device.
bool IsPipe(const std::string& path);

// All of a file.
void ReadWholeFile(const std::string& path, std::vector<uint8_t>& bytes);

}  // namespace tkmjpg::tool
