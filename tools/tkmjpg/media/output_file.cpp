#include "tools/tkmjpg/media/output_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kGather = 256 * 1024;                 // smaller writes are gathered up to this
constexpr uint64_t kReserveAhead = uint64_t{4} << 20;  // as long as there is so much space

namespace fs = std::filesystem;

// Where symbolic links lead, also if nothing is there yet.
std::string BehindLinks(const std::string& name) {
  constexpr int kMostLinks = 40;  // as the system allows
  fs::path path = name;
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  return path.string();
}

// The system takes longer files for an error, or ends who writes them.
bool IsAboveLimit(uint64_t size) {
  rlimit limit{};
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
         size > limit.rlim_cur;
}

}  // namespace

OutputFile::OutputFile(const std::string& path, Overwrite overwrite) : name_(path) {
  waiting_.reserve(kGather);
  std::signal(SIGXFSZ, SIG_IGN);  // so that writing fails instead
  struct stat status {};
  if (path == "-") {
    name_ = "standard output";
    descriptor_ = dup(STDOUT_FILENO);
  } else if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    OpenTemporary(overwrite);
  }
  if (descriptor_ < 0) Fail();
  if (isatty(descriptor_) != 0) {
    close(std::exchange(descriptor_, -1));
    throw UsageError(name_ + ": is a terminal; name a file or a pipe");
  }
}

void OutputFile::OpenTemporary(Overwrite overwrite) {
  if (overwrite == Overwrite::kRefuse && access(name_.c_str(), F_OK) == 0) {
    throw UsageError(name_ + ": exists; --force replaces it");
  }
  final_ = BehindLinks(name_);
  std::error_code ignored;
  if (fs::is_symlink(final_, ignored)) {  // links in a circle
    errno = ELOOP;
    return;
  }
  struct stat old {};
  const bool replaces = stat(final_.c_str(), &old) == 0;
  const mode_t mode = replaces ? old.st_mode & 0777 : 0666;
  // Another machine, or a process that was killed, may have left a file of the same number.
  constexpr int kMostTries = 1000;
  const std::string name = final_ + "." + std::to_string(getpid());
  std::string path = name + ".part";
  for (int i = 1; i < kMostTries; ++i, path = name + "-" + std::to_string(i) + ".part") {
    descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor_ >= 0 || errno != EEXIST) break;
  }
  if (descriptor_ < 0) return;
  temporary_ = path;
  // The umask may have taken bits away that the old file has. Some file systems know no modes.
  if (replaces) static_cast<void>(fchmod(descriptor_, mode));
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty() && !failed_) unlink(temporary_.c_str());
}

void OutputFile::Fail() const { throw OutputError(name_ + ": " + std::strerror(errno)); }

void OutputFile::FailToWrite() {
  if (temporary_.empty()) Fail();
  failed_ = true;
  throw OutputError(name_ + ": " + std::strerror(errno) + "; what is written is in " + temporary_);
}

void OutputFile::Reserve(uint64_t bytes) {
  const uint64_t end = size_ + bytes;
  if (temporary_.empty() || end <= reserved_) return;
  if (ReserveTo(end + kReserveAhead)) return;
  if (end > reserved_ && !ReserveTo(end)) Fail();  // some may have been there
}

bool OutputFile::ReserveTo(uint64_t end) {
  if (IsAboveLimit(end)) {
    errno = EFBIG;
    return false;
  }
  const auto begin = static_cast<off_t>(reserved_), size = static_cast<off_t>(end - reserved_);
  while (fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, begin, size) != 0) {
    if (errno == EOPNOTSUPP || errno == ENOSYS) return WriteZeros(end);
    if (errno != EINTR) return false;
  }
  reserved_ = end;
  return true;
}

// For file systems that cannot reserve. They come after all that has been written.
bool OutputFile::WriteZeros(uint64_t end) {
  static constexpr uint8_t kZeros[4096] = {};
  for (uint64_t at = std::max(reserved_, size_ - waiting_.size()); at < end;) {
    const auto count = static_cast<size_t>(std::min<uint64_t>(sizeof kZeros, end - at));
    const ssize_t n = pwrite(descriptor_, kZeros, count, static_cast<off_t>(at));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    at += static_cast<uint64_t>(n);
    reserved_ = at;
  }
  return true;
}

void OutputFile::Write(std::span<const uint8_t> bytes) {
  if (waiting_.size() + bytes.size() > kGather) Flush();
  if (bytes.size() > kGather) {
    Store(bytes);
  } else {
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
  }
  size_ += bytes.size();
}

void OutputFile::Patch(uint64_t offset, std::span<const uint8_t> bytes) {
  Flush();
  while (!bytes.empty()) {
    const ssize_t n = pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) FailToWrite();
    offset += static_cast<uint64_t>(n);
    bytes = bytes.subspan(static_cast<size_t>(n));
  }
}

void OutputFile::Flush() {
  Store(waiting_);
  waiting_.clear();
}

void OutputFile::Store(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t n = write(descriptor_, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) FailToWrite();
    bytes = bytes.subspan(static_cast<size_t>(n));
  }
}

void OutputFile::Finish() {
  Flush();
  if (reserved_ > size_ && ftruncate(descriptor_, static_cast<off_t>(size_)) != 0) FailToWrite();
  const int closed = close(std::exchange(descriptor_, -1));
  if (closed != 0) FailToWrite();
  if (temporary_.empty()) return;
  if (rename(temporary_.c_str(), final_.c_str()) != 0) Fail();
  temporary_.clear();
}

}  // namespace tkmjpg::tool
