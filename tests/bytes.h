// Byte strings: made up, cut, changed and joined, and the contents of files.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes Noise(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

inline Bytes Slice(const Bytes& bytes, size_t begin, size_t end) {
  return {bytes.begin() + begin, bytes.begin() + end};
}
inline Bytes Head(const Bytes& bytes, size_t size) { return Slice(bytes, 0, size); }

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}
inline Bytes Insert(const Bytes& bytes, size_t at, const Bytes& more) {
  return Head(bytes, at) + more + Slice(bytes, at, bytes.size());
}
inline Bytes Erase(const Bytes& bytes, size_t at, size_t count) {
  return Head(bytes, at) + Slice(bytes, at + count, bytes.size());
}
inline Bytes Set(Bytes bytes, size_t at, const Bytes& values) {
  std::copy(values.begin(), values.end(), bytes.begin() + at);
  return bytes;
}

// The size of `bytes` if `what` is not in them.
inline size_t Find(const Bytes& bytes, const Bytes& what, size_t from = 0) {
  return std::search(bytes.begin() + from, bytes.end(), what.begin(), what.end()) - bytes.begin();
}
inline size_t FindMarker(const Bytes& stream, uint8_t marker, size_t from = 0) {
  return Find(stream, {0xFF, marker}, from);
}

// Of all bytes; 0 if they differ in number or there are none.
inline double Psnr(const Bytes& a, const Bytes& b) {
  if (a.size() != b.size() || a.empty()) return 0;
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += std::pow(double{1} * a[i] - b[i], 2);
  return sum == 0 ? 99 : 10 * std::log10(255. * 255. * static_cast<double>(a.size()) / sum);
}

inline Bytes ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
inline void WriteBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
}
