// Any bytes to a picture of any size and layout: two frames in a row with one memory, each decoded
// twice, on other memory, over another filling.
#include "fuzz/fuzz_support.h"

namespace {

constexpr Layout kNoLayout = {"none", 0x30303030, 4, {}};
constexpr uint32_t kFlags[] = {TKMJPG_D_ONE_FIELD_SMART, TKMJPG_D_ONE_FIELD, TKMJPG_D_INVERT_FIELDS,
                               TKMJPG_D_USE_AVI1_MARKERS, TKMJPG_D_FULL_RANGE};

const Layout& DrawLayout(Arguments& arguments) {
  const size_t i = arguments.ConsumeIntegralInRange<size_t>(0, std::size(kOutputLayouts));
  return i < std::size(kOutputLayouts) ? kOutputLayouts[i] : kNoLayout;
}

struct Frame {
  const Bytes& stream;
  const Layout& layout;
  const HostPicture& host;
  uint32_t flags;
};

uint32_t Decode(const Frame& frame, const GuardedBuffer& pixels, GuardAt guard,
                CodecCarryState* carry) {
  const GuardedBuffer stream(frame.stream, guard);
  SmearStack(guard == GuardAt::kStart ? 0x01 : 0xFF);
  return DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()),
                               frame.host.Line(pixels.data()), frame.host.stride, frame.host.width,
                               frame.host.height, frame.flags, frame.layout.fourcc, 0, carry);
}

void DecodeTwice(const Frame& frame, CodecCarryState* carry) {
  CodecCarryState other{};
  if (carry != nullptr) other = *carry;
  const CodecCarryState before = other;
  const TwoPictures out(frame.host);
  const uint32_t result = Decode(frame, out.a, GuardAt::kStart, carry);
  const uint32_t again = Decode(frame, out.b, GuardAt::kEnd, carry != nullptr ? &other : nullptr);
  Require(result == again, "the same answer");
  Require(result == (frame.layout.fourcc == kNoLayout.fourcc ? 0U : 1U), "1 for known layouts");
  RequireSamePicture(frame.host, out);
  if (carry == nullptr) return;
  Require(carry->decode_flags == other.decode_flags, "the same memory");
  Require((carry->decode_flags | 1) == (before.decode_flags | 1), "the carry's bit 0 alone");
  Require(carry->rate_scale == before.rate_scale, "the encoder's word stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const Layout& layout = DrawLayout(arguments);
  const HostPicture host = DrawPicture(arguments, layout.pixel_bytes, -200, 200);
  const uint32_t flags = DrawFlags(arguments, kFlags);
  const bool with_carry = arguments.ConsumeBool();
  CodecCarryState carry = {arguments.ConsumeIntegral<uint32_t>(), 77};
  const int frames = with_carry ? 2 : 1;
  const Bytes stream = arguments.ConsumeRemainingBytes<uint8_t>();
  for (int i = 0; i < frames; ++i) {
    DecodeTwice({stream, layout, host, flags}, with_carry ? &carry : nullptr);
  }
  return 0;
}
