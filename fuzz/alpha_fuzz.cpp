// The alpha segment: the reader on any bytes, and the writer's output back to the same plane.
#include "alpha/alpha_plane.h"
#include "fuzz/fuzz_support.h"

namespace {

constexpr uint8_t kHead[] = {0xFF, 0xE1, 0x00, 0x08, 'A', 'L', 'P', 'H', 1, 0};

size_t Read(const Bytes& segment, const HostPicture& host, const GuardedBuffer& pixels,
            GuardAt guard) {
  const GuardedBuffer bytes(segment, guard);
  const uint8_t* stop =
      tkmjpg::DecodeAlphaPlane(bytes.data(), static_cast<uint32_t>(bytes.size()),
                               host.Line(pixels.data()), host.stride, host.width, host.height);
  Require(stop >= bytes.data() && stop <= bytes.data() + bytes.size(), "within the data");
  return stop - bytes.data();
}

void RequireAlphaAlone(const HostPicture& host, const uint8_t* pixels) {
  for (size_t line = 0; line < host.Bytes(); line += host.Step()) {
    for (size_t i = line; i < line + host.line_bytes; i += 4) {
      Require(std::memcmp(pixels + i, Filling(false) + i, 3) == 0, "colours stay");
    }
  }
}

void ReadAnything(Arguments& arguments, const HostPicture& host) {
  const bool with_head = arguments.ConsumeBool();
  Bytes segment = arguments.ConsumeRemainingBytes<uint8_t>();
  if (with_head) segment.insert(segment.begin(), std::begin(kHead), std::end(kHead));
  const TwoPictures out(host);
  const size_t stop = Read(segment, host, out.a, GuardAt::kStart);
  Require(stop == Read(segment, host, out.b, GuardAt::kEnd), "the same position");
  RequireSamePicture(host, out);
  RequireAlphaAlone(host, out.a.data());
  const bool no_pixels = host.width <= 0 || host.height <= 0;
  Require(!no_pixels || stop <= 10 || !with_head, "no pixels take no bits");
}

// Alpha values as runs of drawn lengths and steps.
void PaintAlpha(Arguments& arguments, const HostPicture& host, uint8_t* pixels) {
  uint8_t value = 0;
  uint32_t run = 0;
  for (int y = 0; y < host.lines; ++y) {
    uint8_t* line = host.Line(pixels, y);
    for (int x = 0; x < std::abs(host.width); ++x) {
      if (run-- == 0) {
        value = static_cast<uint8_t>(value + arguments.ConsumeIntegral<int8_t>());
        run = arguments.ConsumeBool() ? arguments.ConsumeIntegralInRange<uint32_t>(0, 9000) : 0;
      }
      line[4 * x + 3] = value;
    }
  }
}

void ThereAndBack(Arguments& arguments, const HostPicture& host) {
  const uint32_t capacity = arguments.ConsumeIntegralInRange<uint32_t>(0, 60000);
  const GuardedBuffer pixels(host.Bytes(), DrawGuard(arguments));
  Fill(pixels.data(), pixels.size(), false);
  PaintAlpha(arguments, host, pixels.data());
  const GuardedBuffer output(capacity);
  const uint32_t size = tkmjpg::EncodeAlphaPlane(output.data(), capacity, host.Line(pixels.data()),
                                                 host.stride, host.width, host.height);
  Require(size <= capacity, "within the capacity");
  if (size == 0) return;
  const Bytes segment(output.data(), output.data() + size);
  const GuardedBuffer back(host.Bytes());
  Fill(back.data(), back.size(), false);
  Require(Read(segment, host, back, GuardAt::kEnd) == size, "reading ends where it ended");
  if (host.width <= 0 || host.height <= 0) return;
  Require(pixels.size() == 0 || std::memcmp(pixels.data(), back.data(), pixels.size()) == 0,
          "the same plane");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const bool anything = arguments.ConsumeBool();
  const HostPicture host = DrawPicture(arguments, 4, -20, 200);
  if (anything) {
    ReadAnything(arguments, host);
  } else {
    ThereAndBack(arguments, host);
  }
  return 0;
}
