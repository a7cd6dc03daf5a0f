// The header parser on any bytes, as the second image of a frame meets it too: image by image until
// there is none.
#include "decoder/stream_parser.h"
#include "frame/stream_format.h"
#include "fuzz/fuzz_support.h"

namespace {

using tkmjpg::DecoderContext;
using tkmjpg::ImageHeader;

void RequireSaneHeaders(const DecoderContext& context) {
  const ImageHeader& header = context.header;
  Require(header.width >= 0 && header.width <= 65535, "the width has 16 bits");
  Require(header.height >= 0 && header.height <= 65535, "the height has 16 bits");
  Require(context.restart_interval <= 65535, "the interval has 16 bits");
  for (const tkmjpg::ComponentInfo& c : header.sampling) {
    Require(c.h_samp <= 15 && c.v_samp <= 15, "sampling factors have four bits");
  }
}

void RequireSameHeaders(const DecoderContext& a, const DecoderContext& b) {
  Require(a.quant_slots == b.quant_slots && a.last_dc == b.last_dc, "the same tables");
  const ImageHeader &one = a.header, &other = b.header;
  Require(
      one.width == other.width && one.height == other.height && one.precision == other.precision,
      "the same frame header");
  Require(one.components == other.components && one.scan_components == other.scan_components,
          "the same components");
  Require(a.restart_interval == b.restart_interval, "the same restart interval");
}

struct Walk {
  GuardedBuffer bytes;
  DecoderContext context;

  Walk(const Bytes& stream, GuardAt guard) : bytes(stream, guard) {
    context.input.read_pos = bytes.data();
    context.input.data_end = bytes.data() + bytes.size();
  }
  bool Next() {
    const uint8_t* const before = context.input.read_pos;
    const bool found = tkmjpg::StartImage(context);
    const uint8_t* const position = context.input.read_pos;
    Require(position >= before && position <= context.input.data_end, "within the data");
    Require(!found || position > before, "an image takes bytes");
    return found;
  }
  size_t Position() const { return static_cast<size_t>(context.input.read_pos - bytes.data()); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes stream(data, data + size);
  Walk a(stream, GuardAt::kEnd), b(stream, GuardAt::kStart);
  for (;;) {
    const bool found = a.Next();
    Require(found == b.Next() && a.Position() == b.Position(), "the same walk");
    RequireSameHeaders(a.context, b.context);
    RequireSaneHeaders(a.context);
    if (!found) return 0;
  }
}
