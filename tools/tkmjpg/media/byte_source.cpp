#include "tools/tkmjpg/media/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/input_file.h"

namespace tkmjpg::tool {
namespace {

[[noreturn]] void Fail(const std::string& path) {
  throw InputError(path + ": " + std::strerror(errno));
}

class FileSource : public ByteSource {
 public:
  FileSource(const std::string& path, uint64_t size)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), size_(size) {
    if (descriptor_ < 0) Fail(path_);
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  ~FileSource() override { close(descriptor_); }

  uint64_t Size() const override { return size_; }
  size_t Read(uint64_t offset, std::span<uint8_t> out) const override {
    size_t done = 0;
    while (done < out.size()) {
      const ssize_t n = pread(descriptor_, out.data() + done, out.size() - done,
                              static_cast<off_t>(offset + done));
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) Fail(path_);
      if (n == 0) break;
      done += static_cast<size_t>(n);
    }
    return done;
  }

 private:
  std::string path_;
  int descriptor_;
  uint64_t size_;
};

}  // namespace

size_t MemorySource::Read(uint64_t offset, std::span<uint8_t> out) const {
  if (offset >= bytes_.size()) return 0;
  const size_t n = std::min<uint64_t>(out.size(), bytes_.size() - offset);
  if (n != 0) std::memcpy(out.data(), bytes_.data() + offset, n);
  return n;
}

std::unique_ptr<ByteSource> OpenByteSource(const std::string& path) {
  struct stat status {};
  if (path != "-" && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    return std::make_unique<FileSource>(path, static_cast<uint64_t>(status.st_size));
  }
  std::vector<uint8_t> bytes;
  ReadWholeFile(path, bytes);
  return std::make_unique<OwnedMemory>(std::move(bytes));
}

}  // namespace tkmjpg::tool
