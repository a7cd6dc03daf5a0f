// Raw picture to stream and back, every layout, flag, size, quality and capacity: the capacity
// holds, the whole picture comes back, and alpha exactly.
#include <algorithm>

#include "decoder/frame_decompressor.h"
#include "frame/stream_format.h"
#include "fuzz/raw_pictures.h"

namespace {

constexpr uint32_t kFlags[] = {TKMJPG_C_HUFFMAN_TABLES, TKMJPG_C_ONE_FIELD,   TKMJPG_C_SWAP_LINES,
                               TKMJPG_C_CODE2_FIRST,    TKMJPG_C_FIELDS,      TKMJPG_C_ALPHA,
                               TKMJPG_C_STRONG_RATE,    TKMJPG_C_RATE_CONTROL};

// The layout to decode to: the one that was coded, if decompress knows it.
const Layout& WayBack(const Layout& layout) {
  return layout.fourcc == TKMJPG_VYUY ? kOutputLayouts[2] : layout;
}

// Decodes over both fillings. Returns the picture that came of the first.
Bytes DecodeTwice(const Bytes& stream, const Layout& layout, const HostPicture& host) {
  const GuardedBuffer input(stream);
  const TwoPictures out(host);
  for (const GuardedBuffer* pixels : {&out.a, &out.b}) {
    DecompressBuffer_MJPG(input.data(), static_cast<uint32_t>(input.size()),
                          host.Line(pixels->data()), host.stride, host.width, host.height, 0,
                          layout.fourcc, 0, nullptr);
  }
  RequireSamePicture(host, out);
  // The last line of an odd number is in neither field.
  for (int y = 0; y < (host.lines & ~1); ++y) {
    Require(
        std::memcmp(host.Line(out.a.data(), y), host.Line(out.b.data(), y), host.line_bytes) == 0,
        "every pixel comes back");
  }
  return out.a.Bytes();
}

void RequireSameAlpha(const HostPicture& host, const RawPicture& picture, Bytes back) {
  for (int y = 0; y < host.lines; ++y) {
    const uint8_t* decoded = host.Line(back.data(), y);
    for (int x = 3; x < host.line_bytes; x += 4) {
      Require(picture.Line(y)[x] == decoded[x], "the same alpha");
    }
  }
}

// After a single field any SOI counts, even in the alpha segment's bits: that field's picture is
// then not completed.
bool AlphaLooksLikeImage(const Bytes& stream, uint32_t flags) {
  return (flags & TKMJPG_C_ONE_FIELD) != 0 && (flags & TKMJPG_C_ALPHA) != 0 &&
         FindMarker(stream, tkmjpg::kSoi, 2) != stream.size();
}

// Where no tag tells of fields, a low second image may be left unread. The search for alpha then
// starts at it, and values of its tables may look like a segment of alpha.
bool SecondImageMayHideAlpha(const Bytes& stream, uint32_t flags) {
  constexpr uint8_t kTag[] = {'A', 'V', 'I', '1'};
  return (flags & TKMJPG_C_FIELDS) != 0 &&
         std::search(stream.begin(), stream.end(), std::begin(kTag), std::end(kTag)) ==
             stream.end();
}

// Reading stops after the last image, with nothing left but fill.
void RequireWholeStreamRead(const Bytes& stream, const HostPicture& host, bool fields) {
  const GuardedBuffer pixels(host.Bytes());
  CodecCarryState carry = tkmjpg::kNewCarryState;
  const uint8_t* stop =
      tkmjpg::DecompressFrame(stream.data(), static_cast<uint32_t>(stream.size()),
                              host.Line(pixels.data()), host.stride, host.width, host.height, 0,
                              tkmjpg::PixelFormatCode::kYuyv, &carry)
          .stop;
  Require(stop >= stream.data() + 2 && stop[-2] == 0xFF && stop[-1] == tkmjpg::kEoi,
          "reading stops after EOI");
  if (fields) return;  // where no tag tells of them, the second one is not looked for
  const uint8_t* const end = stream.data() + stream.size();
  Require(std::all_of(stop, end, [](uint8_t byte) { return byte == 0xFF; }), "nothing but fill");
}

struct Coding {
  uint32_t flags;
  int quality;
  uint32_t capacity;
};

Bytes Encode(const RawPicture& picture, const Layout& layout, const HostPicture& host,
             const Coding& coding, CodecCarryState* carry) {
  const GuardedBuffer output(coding.capacity);
  const CodecCarryState before = *carry;
  const uint32_t size =
      CompressBuffer_MJPG(picture.Line(), host.stride, output.data(), coding.capacity, host.width,
                          host.height, coding.quality, coding.flags, layout.fourcc, 0, carry);
  Require(size <= coding.capacity, "within the capacity");
  Require(carry->decode_flags == before.decode_flags, "the decoder's word stays");
  Require(size != 0 || carry->rate_scale == before.rate_scale, "no result, no memory");
  return {output.data(), output.data() + size};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const Layout& layout = DrawFrom(arguments, kInputLayouts);
  const HostPicture host = DrawPicture(arguments, layout.pixel_bytes, -2, 120);
  Coding coding = {};
  coding.flags = Mode(arguments.ConsumeIntegralInRange(0U, 15U));
  coding.flags |= DrawFlags(arguments, kFlags);
  coding.quality = (coding.flags & TKMJPG_C_RATE_CONTROL) != 0
                       ? arguments.ConsumeIntegralInRange(-10, 60000)
                       : arguments.ConsumeIntegralInRange(-1, 102);
  coding.capacity = arguments.ConsumeBool() ? 200000 : arguments.ConsumeIntegralInRange(0U, 40000U);
  CodecCarryState carry = {
      arguments.ConsumeIntegral<uint8_t>(),
      arguments.ConsumeIntegral<uint32_t>() >> arguments.ConsumeIntegralInRange(0, 31)};
  const RawPicture picture(arguments, layout, host);

  const Bytes stream = Encode(picture, layout, host, coding, &carry);
  Require(coding.capacity < 200000 || !stream.empty(), "any frame fits a large capacity");
  if (stream.empty() || host.width <= 0 || host.height < 2) return 0;
  if (AlphaLooksLikeImage(stream, coding.flags)) return 0;
  const Bytes back = DecodeTwice(stream, WayBack(layout), host);
  const bool alpha = layout.fourcc == TKMJPG_BGRA && (coding.flags & TKMJPG_C_ALPHA) != 0 &&
                     !SecondImageMayHideAlpha(stream, coding.flags);
  if (alpha) RequireSameAlpha(host, picture, back);
  if (layout.pixel_bytes == 2) {
    RequireWholeStreamRead(stream, host, (coding.flags & TKMJPG_C_FIELDS) != 0);
  }
  return 0;
}
