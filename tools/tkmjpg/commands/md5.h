// The MD5 message digest, RFC 1321.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tkmjpg::tool {

class Md5 {
 public:
  void Add(std::span<const uint8_t> bytes);
  std::string Finish();  // 32 hexadecimal digits, lower case

 private:
  void AddBlock(const uint8_t* block);

  std::array<uint32_t, 4> state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  std::array<uint8_t, 64> waiting_{};
  uint64_t size_ = 0;
};

}  // namespace tkmjpg::tool
