#include "decoder/field_reconstruction.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "decoder/decoder_kernels.h"
#include "decoder/fast_decoder.h"
#include "decoder/frame_decompressor.h"
#include "decoder/huffman_decoder.h"
#include "decoder/stream_parser.h"
#include "frame/stream_format.h"

namespace tkmjpg {
namespace {

// Runs `decode` over the bands of the prepared image. `rows_of` says where the n lines of a band
// go, `finish` follows once they are written; both start over with the image at rows_done 0.
template <typename Decode, typename RowsOf, typename Finish>
bool ForEachBand(DecoderContext& context, Decode decode, RowsOf rows_of, Finish finish) {
  while (context.rows_done < context.height) {
    const int first = context.rows_done;
    const int n = std::min(8, context.height - first);
    std::array<uint8_t*, 8> rows{};
    rows_of(rows, first, n);
    if (!decode(rows, n)) return false;
    finish(first, n);
  }
  return true;
}

// The fast way, for sound images only. False when this image is none, or the rung has no such way.
template <typename RowsOf, typename Finish>
bool DecodeBandsFast(DecoderContext& context, RowsOf rows_of, Finish finish) {
  const auto select_writer = context.kernels->select_writer;
  if (select_writer == nullptr || select_writer(context.pixel_format)[0] == nullptr ||
      context.mcus_per_row == 0 || context.height == 0) {
    return false;
  }
  FastDecoder decoder;
  StartFastImage(context, decoder);
  const auto decode = [&](const std::array<uint8_t*, 8>& rows, int n) {
    return DecodeMcuRowFast(context, decoder, rows, n);
  };
  return ForEachBand(context, decode, rows_of, finish) && FinishFastImage(context, decoder);
}

template <typename RowsOf, typename Finish>
bool DecodeBands(DecoderContext& context, RowsOf rows_of, Finish finish) {
  const DecoderContext prepared = context;
  if (DecodeBandsFast(context, rows_of, finish)) return true;
  context = prepared;
  BitReader reader;
  const auto decode = [&](const std::array<uint8_t*, 8>& rows, int n) {
    return DecodeMcuRow(context, reader, rows, n);
  };
  return ForEachBand(context, decode, rows_of, finish);
}

// Nine lines of finished pixels: a band, and one more that carries a line over to the next band.
struct ScratchRows {
  static constexpr int kRows = 9;
  static constexpr size_t kAlignment = 32;

  size_t row_bytes;
  std::unique_ptr<void, decltype(&std::free)> block;
  uint8_t* first = nullptr;  // null when there is no memory

  explicit ScratchRows(size_t line_bytes)
      : row_bytes((line_bytes + kAlignment - 1) & ~(kAlignment - 1)),
        block(std::malloc(kRows * row_bytes + kAlignment - 1), &std::free) {
    void* start = block.get();
    size_t space = kRows * row_bytes + kAlignment - 1;
    if (start != nullptr) {
      first = static_cast<uint8_t*>(std::align(kAlignment, kRows * row_bytes, start, space));
    }
  }
  uint8_t* Row(int i) const { return first + static_cast<size_t>(i) * row_bytes; }
};

bool DoubleLines(DecoderContext& context, const ScratchRows& scratch, size_t line_bytes,
                 const FrameOutput& frame) {
  const auto rows_of = [&](std::array<uint8_t*, 8>& rows, int, int n) {
    for (int i = 0; i < n; ++i) rows[i] = scratch.Row(i);
  };
  const auto finish = [&](int first, int n) {
    for (int i = 0; i < n; ++i) {
      uint8_t* even = frame.out + 2 * (first + i) * frame.stride;
      std::memcpy(even, scratch.Row(i), line_bytes);
      std::memcpy(even + frame.stride, scratch.Row(i), line_bytes);
    }
  };
  return DecodeBands(context, rows_of, finish);
}

void WriteMean(const uint8_t* a, const uint8_t* b, size_t bytes, uint8_t* out) {
  for (size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>((a[i] + b[i]) / 2);
}

// Odd frame lines are the field's; an even one is the mean of its neighbours, byte by byte. The top
// line is its own predecessor.
bool InterpolateLines(DecoderContext& context, const ScratchRows& scratch, size_t line_bytes,
                      const FrameOutput& frame) {
  // lines[i + 1] receives line i of a band, lines[0] holds the line ahead of the band.
  std::array<uint8_t*, 10> lines{};
  const auto rows_of = [&](std::array<uint8_t*, 8>& rows, int first, int n) {
    if (first == 0) {
      for (int i = 0; i < 10; ++i) lines[i] = scratch.Row(std::max(i - 1, 0));
    }
    for (int i = 0; i < n; ++i) rows[i] = lines[i + 1];
  };
  const auto finish = [&](int first, int n) {
    for (int i = 0; i < n; ++i) {
      uint8_t* even = frame.out + 2 * (first + i) * frame.stride;
      WriteMean(lines[i], lines[i + 1], line_bytes, even);
      std::memcpy(even + frame.stride, lines[i + 1], line_bytes);
    }
    lines[0] = lines[8];
    std::swap(lines[8], lines[9]);
  };
  return DecodeBands(context, rows_of, finish);
}

// Fills all lines of the frame from the prepared image. False when a restart marker is wrong or
// there is no memory for the scratch rows.
bool RebuildFrameFromField(DecoderContext& context, const FrameOutput& frame) {
  if (SelectMcuConverter(*context.kernels, context.pixel_format) == &ConvertMcuToNothing) {
    return DecodeImage(context, frame.out, 2 * frame.stride);  // moves the reader, writes nothing
  }
  const size_t line_bytes =
      static_cast<size_t>(BytesPerPixel(context.pixel_format)) * static_cast<size_t>(context.width);
  const ScratchRows scratch(line_bytes);
  if (scratch.first == nullptr) return false;
  // The mean of 16-bit pixels' bytes would be no colour between them.
  const bool smart = (frame.flags & kOneFieldSmart) != 0 &&
                     context.pixel_format != PixelFormatCode::kRgb555 &&
                     context.pixel_format != PixelFormatCode::kRgb565;
  return smart ? InterpolateLines(context, scratch, line_bytes, frame)
               : DoubleLines(context, scratch, line_bytes, frame);
}

// The next SOI behind the first image, null if none: raw bytes, any fill may stand between.
const uint8_t* FindSecondImage(const EntropyInput& input) {
  constexpr uint8_t kStart[2] = {0xFF, kSoi};
  if (input.data_end - input.read_pos <= 2) return nullptr;
  // A pair in the last two bytes does not count.
  const uint8_t* const limit = input.data_end - 1;
  const uint8_t* found = std::search(input.read_pos, limit, kStart, kStart + 2);
  return found == limit ? nullptr : found;
}

// Decodes the second image into the lines that the first one left. When there is none, the first
// is decoded once more, unless the last frame had no second one either: then the frame has been
// rebuilt from the first.
void FetchSecondImage(DecoderContext& context, const FrameOutput& frame, uint8_t* second_lines,
                      CodecCarryState* carry) {
  const uint8_t* second = FindSecondImage(context.input);
  const bool missed_before = (carry->decode_flags & 1) != 0;
  carry->decode_flags = second != nullptr ? carry->decode_flags & ~1U : carry->decode_flags | 1;
  context.input.read_pos = second != nullptr ? second : frame.data;
  if (second == nullptr && missed_before) return;

  if (!StartImage(context)) return;
  ClipSize(context, frame.width, frame.height / 2);
  if (SetupDecoder(context)) DecodeImage(context, second_lines, 2 * frame.stride);
}

}  // namespace

bool DecodeImage(DecoderContext& context, uint8_t* lines, int64_t line_step) {
  const auto rows_of = [&](std::array<uint8_t*, 8>& rows, int first, int n) {
    for (int i = 0; i < n; ++i) rows[i] = lines + (first + i) * line_step;
  };
  return DecodeBands(context, rows_of, [](int, int) {});
}

void DecodeFieldFrame(DecoderContext& context, const FrameOutput& frame, CodecCarryState* carry) {
  uint8_t* const even_lines = frame.out;
  uint8_t* const odd_lines = frame.out + frame.stride;
  const bool one_field_only = (frame.flags & kOneFieldOnly) != 0;
  const bool rebuild = one_field_only || (carry->decode_flags & 1) != 0;
  const bool sound =
      rebuild ? RebuildFrameFromField(context, frame)
              : DecodeImage(context, frame.invert_order ? even_lines : odd_lines, 2 * frame.stride);
  if (!sound || one_field_only) return;
  FetchSecondImage(context, frame, frame.invert_order ? odd_lines : even_lines, carry);
}

}  // namespace tkmjpg
