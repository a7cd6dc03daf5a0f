// Bytes that can be read at any place: a file, or memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tkmjpg::tool {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual uint64_t Size() const = 0;
  // Fills `out` from `offset` on. Returns the bytes that were there, fewer only at the end.
  virtual size_t Read(uint64_t offset, std::span<uint8_t> out) const = 0;
};

// Memory that someone else keeps.
class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  uint64_t Size() const override { return bytes_.size(); }
  size_t Read(uint64_t offset, std::span<uint8_t> out) const override;

 private:
  std::span<const uint8_t> bytes_;
};

class OwnedMemory : public MemorySource {
 public:
  explicit OwnedMemory(std::vector<uint8_t> bytes)
      : MemorySource(bytes), bytes_(std::move(bytes)) {}  // a moved vector keeps its place

 private:
  std::vector<uint8_t> bytes_;
};

// Opens a file. "-" and pipes, which cannot be read at any place, are read into memory first.
std::unique_ptr<ByteSource> OpenByteSource(const std::string& path);

inline uint32_t Little16(const uint8_t* p) { return static_cast<uint32_t>(p[0] | p[1] << 8); }
inline uint32_t Little32(const uint8_t* p) { return Little16(p) | Little16(p + 2) << 16; }
inline uint64_t Little64(const uint8_t* p) { return Little32(p) | uint64_t{Little32(p + 4)} << 32; }

}  // namespace tkmjpg::tool
