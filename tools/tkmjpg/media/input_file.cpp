#include "tools/tkmjpg/media/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/interrupt.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kAhead = 4096;
constexpr int kPipeBytes = 1 << 20;  // fewer and larger reads than the customary 64 KiB

}  // namespace

InputFile::InputFile(const std::string& path) : name_(path), ahead_(kAhead) {
  if (path == "-") {
    name_ = "standard input";
    descriptor_ = dup(STDIN_FILENO);
  } else {
    descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  }
  struct stat status {};
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) Fail(std::strerror(errno));
  if (S_ISDIR(status.st_mode)) Fail("is a folder");
  if (S_ISREG(status.st_mode)) size_ = status.st_size;
#ifdef F_SETPIPE_SZ
  if (S_ISFIFO(status.st_mode)) fcntl(descriptor_, F_SETPIPE_SZ, kPipeBytes);
#endif
}

InputFile::~InputFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

void InputFile::Fail(const std::string& what) const { throw InputError(name_ + ": " + what); }

size_t InputFile::Fetch(uint8_t* bytes, size_t size) {
  size_t got = 0;
  while (got < size) {
    if (size_ < 0 && !WaitForInput(descriptor_)) break;
    const ssize_t n = read(descriptor_, bytes + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) Fail(std::strerror(errno));
    if (n == 0) break;
    got += static_cast<size_t>(n);
  }
  return got;
}

size_t InputFile::Read(std::span<uint8_t> bytes) {
  const size_t from_ahead = std::min(bytes.size(), ahead_end_ - ahead_begin_);
  if (from_ahead != 0) std::memcpy(bytes.data(), ahead_.data() + ahead_begin_, from_ahead);
  ahead_begin_ += from_ahead;
  const size_t got = from_ahead + Fetch(bytes.data() + from_ahead, bytes.size() - from_ahead);
  offset_ += got;
  return got;
}

uint64_t InputFile::Skip(uint64_t bytes) {
  const uint64_t from_ahead = std::min<uint64_t>(bytes, ahead_end_ - ahead_begin_);
  ahead_begin_ += static_cast<size_t>(from_ahead);
  offset_ += from_ahead;
  uint64_t left = bytes - from_ahead;
  if (size_ >= 0) {
    const int64_t to_end = size_ - lseek(descriptor_, 0, SEEK_CUR);
    const auto step =
        static_cast<off_t>(std::min(left, static_cast<uint64_t>(std::max<int64_t>(to_end, 0))));
    if (lseek(descriptor_, step, SEEK_CUR) < 0) Fail(std::strerror(errno));
    offset_ += static_cast<uint64_t>(step);
    return from_ahead + static_cast<uint64_t>(step);
  }
  std::vector<uint8_t> block(static_cast<size_t>(std::min<uint64_t>(left, kPipeBytes)));
  while (left > 0) {
    const size_t got =
        Read(std::span(block).first(static_cast<size_t>(std::min<uint64_t>(left, block.size()))));
    if (got == 0) break;
    left -= got;
  }
  return bytes - left;
}

bool InputFile::Refill() {
  ssize_t n = 0;
  do {
    if (size_ < 0 && !WaitForInput(descriptor_)) break;
    n = read(descriptor_, ahead_.data(), ahead_.size());
  } while (n < 0 && errno == EINTR);
  if (n < 0) Fail(std::strerror(errno));
  ahead_begin_ = 0;
  ahead_end_ = static_cast<size_t>(n);
  return n > 0;
}

bool InputFile::ReadLine(std::string& line, size_t longest) {
  line.clear();
  for (;;) {
    if (ahead_begin_ == ahead_end_ && !Refill()) return !line.empty();
    const uint8_t c = ahead_[ahead_begin_++];
    ++offset_;
    if (c == '\n') return true;
    if (line.size() == longest) Fail("no end of the line by byte " + std::to_string(offset_));
    line.push_back(static_cast<char>(c));
  }
}

bool IsPipe(const std::string& path) {
  struct stat status {};
  if (path == "-") return true;
  return stat(path.c_str(), &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode));
}

void ReadWholeFile(const std::string& path, std::vector<uint8_t>& bytes) {
  constexpr size_t kStep = 1 << 20;
  InputFile file(path);
  bytes.resize(file.Size() > 0 ? static_cast<size_t>(file.Size()) : kStep);
  size_t got = file.Read(bytes);
  while (got == bytes.size()) {
    bytes.resize(bytes.size() + kStep);
    got += file.Read(std::span(bytes).subspan(got));
  }
  bytes.resize(got);
}

}  // namespace tkmjpg::tool
