#include "decoder/fast_reader.h"

#include <algorithm>
#include <cstring>

#include "decoder/bytes_to_bits.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// Whether the definition, too, has met the end of the interval here, and not read past it: it tops
// up its buffer when fewer bytes than kLargestBlock are left for a block, and no block is so long
// that four bytes after it would be out of its sight.
bool IntervalIsRead(DecoderContext& context, FastReader& reader) {
  if (!reader.ended) StageMore(context, reader);
  const int left = reader.BitsLeft();
  return reader.ended && left >= 0 && left < 32;
}

bool PassRestart(DecoderContext& context, FastReader& reader) {
  if (!IntervalIsRead(context, reader) || !PassRestartMarker(context)) return false;
  reader.next = reader.filled = 0;
  reader.bits = reader.bit_count = 0;
  reader.ended = false;
  return true;
}

}  // namespace

FastReader::FastReader(const DecoderContext& context) {
  for (int u = 0; u < 8; ++u) {
    for (int l = 0; l < 4; ++l) {
      std::copy_n(context.dequant[l / 2].data() + 8 * u, 8, dequant.data() + 32 * u + 8 * l);
    }
  }
}

void StageMore(DecoderContext& context, FastReader& reader) {
  const int kept = std::max(reader.filled - reader.next, 0);
  std::memmove(reader.buffer.data(), reader.buffer.data() + reader.next, static_cast<size_t>(kept));
  reader.next = 0;
  reader.filled = kept + StageBytes(context.input, reader.buffer.data() + kept,
                                    FastReader::kBufferBytes - kept);
  reader.ended =
      context.input.pending_marker != 0 || context.input.read_pos == context.input.data_end;
  if (reader.ended) std::memset(reader.buffer.data() + reader.filled, 0xFF, FastReader::kPadding);
}

bool PrepareMcu(DecoderContext& context, FastReader& reader) {
  if (context.restart_interval != 0 && context.restarts_to_go == 0 &&
      !PassRestart(context, reader)) {
    return false;
  }
  if (!reader.ended && reader.filled - reader.next < FastReader::kLargestMcu) {
    StageMore(context, reader);
  }
  --context.restarts_to_go;  // only read with an interval
  return reader.BitsLeft() >= 0;
}

bool FinishFastImage(DecoderContext& context, FastReader& reader) {
  if (IntervalIsRead(context, reader)) return true;
  // Data is left over, for lines at the bottom were not wanted. The definition has stopped
  // somewhere in it, at most a buffer of its own further on: what has been staged here reaches
  // beyond that, and holds no marker but the one that ended it. One that a search could be for may
  // still lie before the definition's place.
  const uint32_t marker = context.input.pending_marker;
  return reader.BitsLeft() >= 0 && marker != kSoi && marker != kApp1 && marker != 0xFF;
}

}  // namespace tkmjpg
