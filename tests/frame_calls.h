// What the tests of whole frames share: layouts, and the two calls on byte strings.
#pragma once

#include "frame/layout.h"
#include "tests/bytes.h"
#include "tests/guarded_buffer.h"
#include "tkmjpg.h"

using PixelCode = tkmjpg::PixelFormatCode;

struct Layout {
  const char* name;
  uint32_t fourcc;
  int pixel_bytes;
  PixelCode code;
};

inline constexpr Layout kInputLayouts[] = {
    {"YUY2", TKMJPG_YUY2, 2, PixelCode::kYuyv},     {"UYVY", TKMJPG_UYVY, 2, PixelCode::kUyvy},
    {"VYUY", TKMJPG_VYUY, 2, PixelCode::kVyuy},     {"YuYv", TKMJPG_YuYv, 2, PixelCode::kYuyvFull},
    {"UyVy", TKMJPG_UyVy, 2, PixelCode::kUyvyFull}, {"BGR3", TKMJPG_BGR3, 3, PixelCode::kBgr24},
    {"BGR4", TKMJPG_BGR4, 4, PixelCode::kBgrx32},   {"BGRA", TKMJPG_BGRA, 4, PixelCode::kBgra32},
    {"R555", TKMJPG_R555, 2, PixelCode::kRgb555}};
inline constexpr Layout kOutputLayouts[] = {{"YUY2", TKMJPG_YUY2, 2, PixelCode::kYuyv},
                                            {"YUYV", TKMJPG_YUYV, 2, PixelCode::kYuyv},
                                            {"UYVY", TKMJPG_UYVY, 2, PixelCode::kUyvy},
                                            {"YuYv", TKMJPG_YuYv, 2, PixelCode::kYuyvFull},
                                            {"UyVy", TKMJPG_UyVy, 2, PixelCode::kUyvyFull},
                                            {"BGR3", TKMJPG_BGR3, 3, PixelCode::kBgr24},
                                            {"BGR4", TKMJPG_BGR4, 4, PixelCode::kBgrx32},
                                            {"BGRA", TKMJPG_BGRA, 4, PixelCode::kBgra32},
                                            {"R555", TKMJPG_R555, 2, PixelCode::kRgb555},
                                            {"R565", TKMJPG_R565, 2, PixelCode::kRgb565},
                                            {"bgr3", TKMJPG_bgr3, 3, PixelCode::kBgr24Full},
                                            {"bgr4", TKMJPG_bgr4, 4, PixelCode::kBgrx32Full},
                                            {"bgra", TKMJPG_bgra, 4, PixelCode::kBgra32Full}};
inline constexpr Layout kYuy2 = kInputLayouts[0], kYuYv = kInputLayouts[3],
                        kBgra = kInputLayouts[7];

constexpr uint32_t Mode(uint32_t mode) { return mode << TKMJPG_C_MODE_SHIFT; }
inline constexpr uint32_t kBare = Mode(5);  // JFIF: no field tag, nothing after EOI

// One call's arguments; lines are packed unless stride says otherwise.
struct Call {
  Layout layout;
  int width, height;
  uint32_t flags = 0;
  int quality = 75;
  CodecCarryState* carry = nullptr;
  uint32_t capacity = 1 << 20;
  int stride = 0;

  int Stride() const { return stride != 0 ? stride : width * layout.pixel_bytes; }
  // The first byte of line 0 in a buffer that holds the lines from its lowest address on.
  int64_t First() const { return Stride() < 0 ? -int64_t{Stride()} * (height - 1) : 0; }
  size_t Size() const { return size_t(std::abs(Stride())) * height; }
};

// Empty when the call answers 0.
inline Bytes Compress(const Bytes& pixels, const Call& call, GuardAt guard = GuardAt::kEnd) {
  const GuardedBuffer input(pixels, guard);
  const GuardedBuffer output(call.capacity, guard);
  const uint32_t size = CompressBuffer_MJPG(
      input.data() + call.First(), call.Stride(), output.data(), call.capacity, call.width,
      call.height, call.quality, call.flags, call.layout.fourcc, 0, call.carry);
  return {output.data(), output.data() + size};
}

inline Bytes CompressNoise(const Call& call, uint32_t seed) {
  return Compress(Noise(call.Size(), seed), call);
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
inline Bytes Decompress(const Bytes& stream, const Call& call) {
  return Decompress(stream, call, Bytes(call.Size()));
}

inline size_t EntropyStart(const Bytes& stream) { return FindMarker(stream, 0xDA) + 14; }

// The same stream with a DRI of `interval` after SOI.
inline Bytes WithRestartInterval(const Bytes& stream, uint8_t interval) {
  return Insert(stream, 2, {0xFF, 0xDD, 0, 4, 0, interval});
}
