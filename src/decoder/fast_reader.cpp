#include "decoder/fast_reader.h"

#include <algorithm>
#include <cstring>

#include "decoder/bytes_to_bits.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// Whether the last `left` bits are of one value; [0, 31].
bool IsPadding(const FastReader& reader, int left) {
  const int loaded = std::min(left, static_cast<int>(reader.bit_count));
  uint64_t rest =
      loaded == 0 ? 0 : reader.bits >> (8 * static_cast<int>(sizeof reader.bits) - loaded);
  for (int i = reader.next; i < reader.filled; ++i) rest = rest << 8 | reader.buffer[i];
  return rest == 0 || rest == (uint64_t{1} << left) - 1;
}

// Whether the definition, too, has met the end of the interval here, and not read past it: it tops
// up its buffer when fewer bytes than kLargestBlock are left for a block, and no block is so long
// that four bytes after it would be out of its sight.
bool IntervalIsRead(DecoderContext& context, FastReader& reader) {
  if (!reader.ended) StageMore(context, reader);
  const int left = reader.BitsLeft();
  return reader.ended && left >= 0 && left < 32 && IsPadding(reader, left);
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
  // The mean of a block of 8-bit samples is a DC of -1024 to 1016. Encoders round, and some go a
  // little beyond it on purpose.
  for (int t = 0; t < 2; ++t) {
    const int32_t step = std::max(context.dequant[t][0] / 16, 1);
    dc_reach[t] = std::min(1024, (1024 + 64) / step + 2);
  }
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
  if (IntervalIsRead(context, reader)) {
    ++context.sound_images;
    return true;
  }
  context.doubtful = true;
  // Data is left over, for lines at the bottom were not wanted. The definition has stopped
  // somewhere in it, at most a buffer of its own further on: what has been staged here reaches
  // beyond that, and holds no marker but the one that ended it. One that a search could be for may
  // still lie before the definition's place.
  const uint32_t marker = context.input.pending_marker;
  return reader.BitsLeft() >= 0 && marker != kSoi && marker != kApp1 && marker != 0xFF;
}

}  // namespace tkmjpg
