// Memory whose last byte is followed, or whose first byte is preceded, by a page that faults.
#pragma once

#ifdef _WIN32
#include "platform/host_messages.h"
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

enum class GuardAt { kEnd, kStart };

class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size, GuardAt guard = GuardAt::kEnd) : size_(size) {
    const size_t page = PageSize();
    const size_t pages = (size + page - 1) / page * page;
    mapped_ = pages + 2 * page;
    base_ = Map(mapped_);
    if (pages != 0) Open(base_ + page, pages);
    data_ = base_ + page + (guard == GuardAt::kEnd ? pages - size : 0);
  }
  explicit GuardedBuffer(const std::vector<uint8_t>& bytes, GuardAt guard = GuardAt::kEnd)
      : GuardedBuffer(bytes.size(), guard) {
    if (size_ != 0) std::memcpy(data_, bytes.data(), size_);
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { Unmap(base_, mapped_); }

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  std::vector<uint8_t> Bytes() const { return {data_, data_ + size_}; }

 private:
#ifdef _WIN32
  static size_t PageSize() { return 4096; }
  static uint8_t* Map(size_t size) {
    void* map = VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
    if (map == nullptr) std::abort();
    return static_cast<uint8_t*>(map);
  }
  static void Open(void* pages, size_t size) {
    if (VirtualAlloc(pages, size, MEM_COMMIT, PAGE_READWRITE) == nullptr) std::abort();
  }
  static void Unmap(void* map, size_t /*size*/) { VirtualFree(map, 0, MEM_RELEASE); }
#else
  static size_t PageSize() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }
  static uint8_t* Map(size_t size) {
    void* map = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) std::abort();
    return static_cast<uint8_t*>(map);
  }
  static void Open(void* pages, size_t size) {
    if (mprotect(pages, size, PROT_READ | PROT_WRITE) != 0) std::abort();
  }
  static void Unmap(void* map, size_t size) { munmap(map, size); }
#endif

  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  size_t mapped_ = 0;
};
