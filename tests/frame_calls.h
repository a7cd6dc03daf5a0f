// What the tests of whole frames share: layouts, pictures, and the two calls on vectors.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "tests/guarded_buffer.h"
#include "tkmjpg.h"

using Bytes = std::vector<uint8_t>;

struct Layout {
  const char* name;
  uint32_t fourcc;
  int pixel_bytes;
};

inline constexpr Layout kInputLayouts[] = {
    {"YUY2", TKMJPG_YUY2, 2}, {"UYVY", TKMJPG_UYVY, 2}, {"VYUY", TKMJPG_VYUY, 2},
    {"YuYv", TKMJPG_YuYv, 2}, {"UyVy", TKMJPG_UyVy, 2}, {"BGR3", TKMJPG_BGR3, 3},
    {"BGR4", TKMJPG_BGR4, 4}, {"BGRA", TKMJPG_BGRA, 4}, {"R555", TKMJPG_R555, 2}};
inline constexpr Layout kOutputLayouts[] = {
    {"YUY2", TKMJPG_YUY2, 2}, {"YUYV", TKMJPG_YUYV, 2}, {"UYVY", TKMJPG_UYVY, 2},
    {"YuYv", TKMJPG_YuYv, 2}, {"UyVy", TKMJPG_UyVy, 2}, {"BGR3", TKMJPG_BGR3, 3},
    {"BGR4", TKMJPG_BGR4, 4}, {"BGRA", TKMJPG_BGRA, 4}, {"R555", TKMJPG_R555, 2},
    {"R565", TKMJPG_R565, 2}, {"bgr3", TKMJPG_bgr3, 3}, {"bgr4", TKMJPG_bgr4, 4},
    {"bgra", TKMJPG_bgra, 4}};

inline Bytes Noise(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// One call's arguments; lines are packed unless stride says otherwise.
struct Call {
  Layout layout;
  int width, height;
  uint32_t flags = 0;
  int quality = 75;
  CodecCarryState* carry = nullptr;
  uint32_t room = 1 << 20;
  int stride = 0;

  int Stride() const { return stride != 0 ? stride : width * layout.pixel_bytes; }
  // The first byte of line 0 in a buffer that holds the lines from its lowest address on.
  int64_t First() const { return Stride() < 0 ? -int64_t{Stride()} * (height - 1) : 0; }
};

// Empty when the call answers 0.
inline Bytes Compress(const Bytes& pixels, const Call& call, GuardAt guard = GuardAt::kEnd) {
  const GuardedBuffer input(pixels, guard);
  const GuardedBuffer output(call.room, guard);
  const uint32_t size = CompressBuffer_MJPG(
      input.data() + call.First(), call.Stride(), output.data(), call.room, call.width, call.height,
      call.quality, call.flags, call.layout.fourcc, 0, call.carry);
  return {output.data(), output.data() + size};
}

// `pixels` as they are after the call.
inline Bytes Decompress(const Bytes& stream, const Call& call, const Bytes& pixels) {
  const GuardedBuffer input(stream);
  const GuardedBuffer output(pixels);
  DecompressBuffer_MJPG(input.data(), static_cast<uint32_t>(stream.size()),
                        output.data() + call.First(), call.Stride(), call.width, call.height,
                        call.flags, call.layout.fourcc, 0, call.carry);
  return output.Bytes();
}

// Where the two bytes FF `marker` stand from `from` on; the stream's size if they do not.
inline size_t FindMarker(const Bytes& stream, uint8_t marker, size_t from = 0) {
  for (size_t at = from; at + 1 < stream.size(); ++at) {
    if (stream[at] == 0xFF && stream[at + 1] == marker) return at;
  }
  return stream.size();
}

inline size_t EntropyStart(const Bytes& stream) { return FindMarker(stream, 0xDA) + 14; }

// The same stream with a DRI of `interval` (0 to 255) behind SOI.
inline Bytes WithRestartInterval(Bytes stream, uint8_t interval) {
  const Bytes dri = {0xFF, 0xDD, 0, 4, 0, interval};
  stream.insert(stream.begin() + 2, dri.begin(), dri.end());
  return stream;
}
