// Every rung of this processor against the definitions: the same streams from the same pictures,
// and from the same streams, undamaged or damaged, the same pictures and memory, and an alpha
// segment found at the same place.
#include "alpha/alpha_plane.h"
#include "cpu/cpu_rung.h"
#include "decoder/frame_decompressor.h"
#include "encoder/frame_compressor.h"
#include "encoder/image_encoder.h"
#include "encoder/mcu_row.h"
#include "encoder/quant_tables.h"
#include "fuzz/raw_pictures.h"
#include "tests/damage.h"

namespace {

using tkmjpg::CpuRung;

constexpr PixelCode kOutputFormats[] = {
    PixelCode::kYuyv,   PixelCode::kYuyvFull,   PixelCode::kUyvy,   PixelCode::kUyvyFull,
    PixelCode::kBgr24,  PixelCode::kBgr24Full,  PixelCode::kBgrx32, PixelCode::kBgrx32Full,
    PixelCode::kBgra32, PixelCode::kBgra32Full, PixelCode::kRgb555, PixelCode::kRgb565,
    PixelCode::kVyuy};  // one that the decoder does not write

struct Coding {
  Layout layout;
  HostPicture host;
  uint32_t flags;
  int32_t quality;
  uint32_t capacity;
  uint32_t restart_interval;  // of the images alone
};

struct Encoded {
  Bytes stream;  // empty when it did not fit
  uint32_t rate_scale = 0;

  bool operator==(const Encoded&) const = default;
};

Encoded EncodeFrame(const Coding& coding, const RawPicture& picture, uint32_t rate_scale) {
  const GuardedBuffer output(coding.capacity);
  CodecCarryState carry = {0, rate_scale};
  const uint32_t size = tkmjpg::CompressFrame(
      output.data(), coding.capacity, picture.Line(), coding.host.stride, coding.host.width,
      coding.host.height, coding.flags, coding.layout.code, &carry, coding.quality);
  Require(size <= coding.capacity, "within the capacity");
  return {{output.data(), output.data() + size}, carry.rate_scale};
}

Encoded EncodeImages(const Coding& coding, const RawPicture& picture,
                     tkmjpg::McuRowEncoder encode_row) {
  const GuardedBuffer output(coding.capacity);
  tkmjpg::EncoderContext context;
  context.encode_mcu_row = encode_row;
  context.pixel_format = coding.layout.code;
  context.width = coding.host.width;
  context.restart_interval = coding.restart_interval;
  context.output = {output.data(), coding.capacity};
  tkmjpg::BuildQuantTablesFromQuality(context, coding.quality);
  const int fields = (coding.flags & TKMJPG_C_FIELDS) != 0 && coding.host.height > 1 ? 2 : 1;
  for (int i = 0; i < fields; ++i) {
    const int32_t lines = coding.host.height / fields;
    context.height = (lines + 7) / 8 * 8;
    const tkmjpg::ImageLines image = {picture.Line(i), int64_t{coding.host.stride} * fields,
                                      context.height - lines};
    tkmjpg::EncodeImage(context, image, static_cast<uint8_t>(fields == 1 ? 0 : i + 1),
                        tkmjpg::StreamMode::kAvi1);
  }
  const uint64_t size = context.output.output_position;
  if (size > coding.capacity) return {};
  return {{output.data(), output.data() + size}, 0};
}

Encoded EncodeOn(CpuRung rung, const Coding& coding, const RawPicture& picture, uint32_t scale) {
  tkmjpg::ForceCpuRung(rung);
  return EncodeFrame(coding, picture, scale);
}

// A stream, the same on all rungs.
Bytes EncodeOnEveryRung(Arguments& arguments) {
  Coding coding = {};
  coding.layout = DrawFrom(arguments, kInputLayouts);
  coding.host = DrawPicture(arguments, coding.layout.pixel_bytes, 0, 208);
  coding.flags = arguments.ConsumeIntegral<uint32_t>();
  coding.quality = (coding.flags & TKMJPG_C_RATE_CONTROL) != 0
                       ? arguments.ConsumeIntegralInRange(0, 60000)
                       : arguments.ConsumeIntegralInRange(1, 100);
  coding.capacity = arguments.ConsumeBool() ? 400000 : arguments.ConsumeIntegralInRange(0U, 40000U);
  coding.restart_interval = arguments.ConsumeBool() ? arguments.ConsumeIntegralInRange(0U, 40U) : 0;
  const uint32_t scale = arguments.ConsumeIntegralInRange(0U, 256U);
  const RawPicture picture(arguments, coding.layout, coding.host);
  Encoded frame = EncodeOn(CpuRung::kPlain, coding, picture, scale), images;
  if (coding.host.lines != 0) images = EncodeImages(coding, picture, tkmjpg::EncodeMcuRow);
  for (const CpuRung rung : tkmjpg::RunnableCpuRungs()) {
    Require(EncodeOn(rung, coding, picture, scale) == frame, "the same stream on every rung");
    if (coding.host.lines == 0) continue;
    Require(EncodeImages(coding, picture, tkmjpg::McuRowEncoderOf(rung)) == images,
            "the stream of the definition");
  }
  return coding.restart_interval != 0 ? images.stream : frame.stream;
}

struct Decoding {
  PixelCode format;
  HostPicture host;
  uint32_t flags;
  uint32_t decode_flags;
};

struct Decoded {
  Bytes pixels;
  ptrdiff_t alpha_end = 0;  // after the first pixel of its segment; 0 for none
  uint32_t decode_flags = 0;

  bool operator==(const Decoded&) const = default;
};

Decoded Decode(CpuRung rung, bool by_definition, const Bytes& bytes, const Decoding& decoding,
               GuardAt guard) {
  tkmjpg::ForceCpuRung(rung);
  const GuardedBuffer stream(bytes, guard);
  const GuardedBuffer pixels(decoding.host.Bytes(), guard);
  Fill(pixels.data(), pixels.size(), false);
  SmearStack(static_cast<uint8_t>(rung));
  CodecCarryState carry = {decoding.decode_flags, 0};
  const uint8_t* stop =
      tkmjpg::DecompressFrame(stream.data(), static_cast<uint32_t>(stream.size()),
                              decoding.host.Line(pixels.data()), decoding.host.stride,
                              decoding.host.width, decoding.host.height, decoding.flags,
                              decoding.format, &carry, by_definition)
          .stop;
  // The rungs may stop at different places in data that no line needs; what is found from there on
  // is the same.
  uint8_t pixel[4] = {};
  const auto rest = static_cast<uint32_t>(stream.data() + stream.size() - stop);
  const uint8_t* after = tkmjpg::DecodeAlphaPlane(stop, rest, pixel, 4, 1, 1);
  return {pixels.Bytes(), after != stop ? after - stream.data() : 0, carry.decode_flags};
}

void DecodeOnEveryRung(Arguments& arguments, const Bytes& stream) {
  Decoding decoding = {};
  decoding.format = DrawFrom(arguments, kOutputFormats);
  const auto pixel_bytes = static_cast<int>(tkmjpg::BytesPerPixel(decoding.format));
  decoding.host = DrawPicture(arguments, pixel_bytes, 0, 208);
  decoding.flags = arguments.ConsumeIntegral<uint16_t>();
  decoding.decode_flags = arguments.ConsumeBool() ? 1 : 0;
  const GuardAt guard = DrawGuard(arguments);
  const Decoded wanted = Decode(CpuRung::kPlain, true, stream, decoding, guard);
  for (const CpuRung rung : tkmjpg::RunnableCpuRungs()) {
    const Decoded other = Decode(rung, false, stream, decoding, guard);
    Require(other.alpha_end == wanted.alpha_end, "the same alpha segment on every rung");
    Require(other == wanted, "the same picture on every rung");
  }
}

}  // namespace

// A stream made of a drawn picture, or the input's own bytes; then edits; then the decoders.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const bool encode = arguments.ConsumeBool();
  const int edits = arguments.ConsumeIntegralInRange(0, 6);
  Bytes stream;
  if (encode) {
    stream = EncodeOnEveryRung(arguments);
  } else {
    stream.assign(data, data + size - std::min<size_t>(size, 64));
  }
  Damage(arguments, stream).Apply(edits);
  DecodeOnEveryRung(arguments, stream);
  return 0;
}
