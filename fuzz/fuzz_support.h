// What the fuzz targets share: arguments out of the input bytes, pictures whose memory ends at a
// page that faults, and checks that end the process.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/frame_calls.h"

// Numbers come from the end of the input, so that a stream with some bytes after it is a seed.
using Arguments = FuzzedDataProvider;

inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

inline GuardAt DrawGuard(Arguments& arguments) {
  return arguments.ConsumeBool() ? GuardAt::kStart : GuardAt::kEnd;
}

// A host's picture: signed sizes and stride, lines with bytes between them that are not its own.
struct HostPicture {
  int width = 0, height = 0, stride = 0;
  int line_bytes = 0, lines = 0;

  size_t Step() const { return std::abs(stride); }
  // From the lowest line to the end of the highest.
  size_t Bytes() const { return lines == 0 ? 0 : Step() * (lines - 1) + line_bytes; }
  // A line of the picture whose lowest byte is at `bytes`.
  uint8_t* Line(uint8_t* bytes, int y = 0) const {
    const int64_t first = stride < 0 && lines != 0 ? -int64_t{stride} * (lines - 1) : 0;
    return bytes + first + int64_t{stride} * y;
  }
};

// Small pictures for the most part, which are fast.
inline HostPicture DrawPicture(Arguments& arguments, int pixel_bytes, int smallest, int largest) {
  if (arguments.ConsumeIntegralInRange(0, 3) != 0) largest = std::min(largest, 40);
  HostPicture host;
  host.width = arguments.ConsumeIntegralInRange(smallest, largest);
  host.height = arguments.ConsumeIntegralInRange(smallest, largest);
  host.line_bytes = std::abs(host.width) * pixel_bytes;
  host.lines = host.line_bytes == 0 ? 0 : std::abs(host.height);
  host.stride = host.line_bytes + arguments.ConsumeIntegralInRange(0, 40);
  if (arguments.ConsumeBool()) host.stride = -host.stride;
  return host;
}

// What stands in a picture before a call; two of them that differ in every byte show which bytes
// the call has written.
inline constexpr size_t kFillingBytes = 1 << 18;
struct Fillings {
  uint8_t bytes[2][kFillingBytes];

  Fillings() {
    for (size_t i = 0; i < kFillingBytes; ++i) {
      bytes[0][i] = static_cast<uint8_t>(i * 0x9D + (i >> 8));
      bytes[1][i] = static_cast<uint8_t>(~bytes[0][i]);
    }
  }
};

inline const uint8_t* Filling(bool inverted) {
  static const Fillings fillings;
  return fillings.bytes[inverted ? 1 : 0];
}

inline void Fill(uint8_t* bytes, size_t size, bool inverted) {
  Require(size <= kFillingBytes, "pictures are small");
  if (size != 0) std::memcpy(bytes, Filling(inverted), size);
}

// Two pictures that a call is made on, before a page that faults and after one.
struct TwoPictures {
  GuardedBuffer a, b;

  explicit TwoPictures(const HostPicture& host)
      : a(host.Bytes(), GuardAt::kEnd), b(host.Bytes(), GuardAt::kStart) {
    Fill(a.data(), a.size(), false);
    Fill(b.data(), b.size(), true);
  }
};

// After two calls on the two fillings: the same bytes of the lines are written, with the same
// values, and none between the lines.
inline void RequireSamePicture(const HostPicture& host, const TwoPictures& pictures) {
  const uint8_t *a = pictures.a.data(), *b = pictures.b.data();
  const uint8_t *first = Filling(false), *second = Filling(true);
  const size_t line = host.line_bytes, gap = host.Step() - line;
  size_t i = 0;
  for (int y = 0; y < host.lines; ++y, i += gap) {
    const size_t end = i + line;
    if (std::memcmp(a + i, b + i, line) == 0) i = end;
    for (; i < end; ++i) {
      const bool untouched = a[i] == first[i] && b[i] == second[i];
      Require(a[i] == b[i] || untouched, "the picture depends on the stream alone");
    }
    if (y + 1 == host.lines) return;
    Require(std::memcmp(a + i, first + i, gap) == 0 && std::memcmp(b + i, second + i, gap) == 0,
            "bytes between the lines stay");
  }
}

// Leaves `byte` where the next calls keep their variables.
__attribute__((noinline)) inline void SmearStack(uint8_t byte) {
  uint8_t bytes[16384];
  std::memset(bytes, byte, sizeof bytes);
  asm volatile("" : : "r"(bytes) : "memory");
}

template <typename T, size_t N>
const T& DrawFrom(Arguments& arguments, const T (&choices)[N]) {
  return choices[arguments.ConsumeIntegralInRange<size_t>(0, N - 1)];
}

// Each of them or not.
template <size_t N>
uint32_t DrawFlags(Arguments& arguments, const uint32_t (&choices)[N]) {
  uint32_t flags = 0;
  for (const uint32_t flag : choices) flags |= arguments.ConsumeBool() ? flag : 0;
  return flags;
}
