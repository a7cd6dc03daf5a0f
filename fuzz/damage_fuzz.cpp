// Damage: what the encoder makes is never reported; what is reported of any bytes lies inside them,
// is the same again and the same when it is decoded, and takes no time without bound.
#include "fuzz/fuzz_support.h"
#include "fuzz/raw_pictures.h"
#include "tests/damage.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/scan_check.h"

namespace {

using tkmjpg::tool::FrameAnalysis;
using tkmjpg::tool::FrameDamage;
using tkmjpg::tool::FrameDecoder;
using tkmjpg::tool::ImageAnalysis;
using tkmjpg::tool::ScanCheck;

constexpr uint32_t kFlags[] = {TKMJPG_C_FIELDS, TKMJPG_C_HUFFMAN_TABLES, TKMJPG_C_CODE2_FIRST};
constexpr uint32_t kModes[] = {0, 1, 2, 3, 5, 7};

Bytes DrawStream(Arguments& arguments) {
  const Layout& layout = DrawFrom(arguments, kInputLayouts);
  const HostPicture host = DrawPicture(arguments, layout.pixel_bytes, 2, 200);  // a line a field
  const uint32_t flags = DrawFlags(arguments, kFlags) | Mode(DrawFrom(arguments, kModes));
  const int quality = arguments.ConsumeIntegralInRange(1, 100);
  const RawPicture picture(arguments, layout, host);
  Bytes stream(1 << 20);
  stream.resize(CompressBuffer_MJPG(picture.Line(), host.stride, stream.data(),
                                    static_cast<uint32_t>(stream.size()), host.width, host.height,
                                    quality, flags, layout.fourcc, 0, nullptr));
  return stream;
}

void RequireSaneRows(const ScanCheck& check) {
  for (const auto& fault : {check.damage, check.suspect}) {
    Require(!fault || fault->row < check.rows, "a row of the image");
  }
  size_t end = 0;
  for (const tkmjpg::tool::McuRows& rows : check.gone) {
    Require(rows.first < rows.end && rows.end <= check.rows, "rows of the image");
    Require(rows.end > end, "rows in order");
    end = rows.end;
  }
  Require(!check.damage || !check.gone.empty(), "damage takes rows");
}

// Those whose codes it reads itself, of a size that takes no time.
bool IsForCodec(const FrameAnalysis& analysis) {
  if (!analysis.refusal.empty() || analysis.NeedsOtherDecoder() || analysis.NeedsRecoding()) {
    return false;
  }
  return analysis.images[0].width <= 256 && analysis.images[0].height <= 256;
}

void RequireAlike(const FrameDamage& a, const FrameDamage& b) {
  Require(a.size() == b.size(), "the same damage");
  for (size_t i = 0; i < a.size(); ++i) {
    Require(!a[i].what.empty() && a[i].what == b[i].what, "the same words");
    Require(a[i].row == b[i].row && a[i].image == b[i].image, "the same place");
  }
}

FrameDamage Find(const Bytes& stream, GuardAt guard) {
  const GuardedBuffer bytes(stream, guard);
  const std::span<const uint8_t> frame(bytes.data(), bytes.size());
  const FrameAnalysis analysis = tkmjpg::tool::AnalyseFrame(frame);
  for (const ImageAnalysis& image : analysis.images) {
    const ScanCheck check = tkmjpg::tool::CheckScan(frame, image);
    RequireSaneRows(check);
    RequireSaneRows(tkmjpg::tool::LocateDamage(frame, image));
    Require(!check.damage || check.damage->offset <= frame.size(), "a byte of the frame");
  }
  for (const tkmjpg::tool::ImageLines& lines : tkmjpg::tool::FindLostLines(frame, analysis)) {
    Require(lines.image < analysis.images.size() && lines.first <= lines.end, "lines of an image");
  }
  const FrameDamage found = tkmjpg::tool::FindDamage(frame, analysis);
  if (IsForCodec(analysis)) {
    const ImageAnalysis& image = analysis.images[0];
    const bool fields = analysis.HasFieldCode() || analysis.IsFieldPair();
    const FrameDecoder decoder(image.width, image.height * (fields ? 2 : 1), TKMJPG_YuYv, 0);
    tkmjpg::tool::Picture picture;
    RequireAlike(found, decoder.Decode(frame, 256, picture).damage);
  }
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const int edits = arguments.ConsumeIntegralInRange(0, 8);
  const bool drawn = arguments.ConsumeBool();
  Bytes stream = drawn ? DrawStream(arguments) : arguments.ConsumeRemainingBytes<uint8_t>();
  if (drawn) Require(Find(stream, GuardAt::kEnd).empty(), "an undamaged frame is not reported");
  if (drawn) Damage(arguments, stream).Apply(edits);
  RequireAlike(Find(stream, GuardAt::kEnd), Find(stream, GuardAt::kStart));
  return 0;
}
