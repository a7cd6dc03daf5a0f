// Raw pictures out of a few drawn numbers, from flat to noise, so that small inputs make streams
// that are long enough to be worth decoding.
#pragma once

#include <sanitizer/asan_interface.h>

#include "fuzz/fuzz_support.h"

enum class Texture { kFlat, kNoise, kFaintNoise, kRamp, kBlackAndWhite, kDrawnBytes, kMaxValue };

class RawPicture {
 public:
  RawPicture(Arguments& arguments, const Layout& layout, const HostPicture& host)
      : host_(host), pixels_(host.Bytes(), DrawGuard(arguments)) {
    Fill(pixels_.data(), pixels_.size(), false);
    random_ = arguments.ConsumeIntegral<uint32_t>() | 1;
    texture_ = arguments.ConsumeEnum<Texture>();
    level_ = arguments.ConsumeIntegral<uint8_t>();
    if (texture_ == Texture::kDrawnBytes) {
      drawn_ = arguments.ConsumeBytes<uint8_t>(arguments.ConsumeIntegralInRange<size_t>(1, 1024));
    }
    for (int y = 0; y < host.lines; ++y) PaintLine(Line(y), layout.pixel_bytes, y);
    for (int y = 0; y < host.lines; ++y) PoisonAfter(Line(y));
  }
  RawPicture(const RawPicture&) = delete;
  RawPicture& operator=(const RawPicture&) = delete;
  ~RawPicture() { ASAN_UNPOISON_MEMORY_REGION(pixels_.data(), pixels_.size()); }

  uint8_t* Line(int y = 0) const { return host_.Line(pixels_.data(), y); }

 private:
  void PaintLine(uint8_t* line, int pixel_bytes, int y) {
    for (int i = 0; i < host_.line_bytes; ++i) line[i] = Paint(i / pixel_bytes, y, i);
  }
  uint8_t Paint(int x, int y, int i) {
    random_ = random_ * 1664525 + 1013904223;
    const uint32_t noise = random_ >> 24;
    switch (texture_) {
      case Texture::kFlat:
        return level_;
      case Texture::kNoise:
        return static_cast<uint8_t>(noise);
      case Texture::kFaintNoise:
        return static_cast<uint8_t>(level_ + noise % 16);
      case Texture::kRamp:
        return static_cast<uint8_t>(x * (level_ & 15) + y * (level_ >> 4));
      case Texture::kBlackAndWhite:
        return noise < level_ ? 0 : 255;
      default:
        return drawn_.empty() ? level_ : drawn_[size_t(y * host_.line_bytes + i) % drawn_.size()];
    }
  }
  // What lies between two lines must not even be read.
  void PoisonAfter(uint8_t* line) const {
    uint8_t* const end = line + host_.line_bytes;
    const size_t gap = host_.Step() - host_.line_bytes;
    if (end + gap <= pixels_.data() + pixels_.size()) ASAN_POISON_MEMORY_REGION(end, gap);
  }

  const HostPicture& host_;
  GuardedBuffer pixels_;
  Texture texture_;
  uint32_t random_;
  uint8_t level_;
  Bytes drawn_;
};
