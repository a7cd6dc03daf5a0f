// Memory whose last byte is followed, or whose first byte is preceded, by a page that faults.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

enum class GuardAt { kEnd, kStart };

class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size, GuardAt guard = GuardAt::kEnd) : size_(size) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t pages = (size + page - 1) / page * page;
    mapped_ = pages + 2 * page;
    void* map = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) std::abort();
    base_ = static_cast<uint8_t*>(map);
    if (pages != 0 && mprotect(base_ + page, pages, PROT_READ | PROT_WRITE) != 0) std::abort();
    data_ = base_ + page + (guard == GuardAt::kEnd ? pages - size : 0);
  }
  explicit GuardedBuffer(const std::vector<uint8_t>& bytes, GuardAt guard = GuardAt::kEnd)
      : GuardedBuffer(bytes.size(), guard) {
    if (size_ != 0) std::memcpy(data_, bytes.data(), size_);
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { munmap(base_, mapped_); }

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  std::vector<uint8_t> Bytes() const { return {data_, data_ + size_}; }

 private:
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  size_t mapped_ = 0;
};
