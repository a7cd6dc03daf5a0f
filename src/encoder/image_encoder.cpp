#include "encoder/image_encoder.h"

#include <algorithm>

#include "encoder/entropy_output.h"
#include "encoder/forward_dct.h"
#include "frame/marker_segments.h"

namespace tkmjpg {
namespace {

void PutSegment(EntropyOutput& output, const MarkerSegment& segment) {
  PutBytes(output, segment.Bytes());
}

void BeginImage(EncoderContext& context) {
  context.mcus_per_row = (static_cast<uint32_t>(context.width) + 15) / 16;
  for (int t = 0; t < 2; ++t) BuildQuantiser(context.quant_tables[t], context.quantisers[t]);
  context.last_dc = {};
  context.restarts_to_go = context.restart_interval;
  context.restart_number = 0;
  context.output.bit_accumulator = context.output.bit_count = 0;
  PutByte(context.output, 0xFF);
  PutByte(context.output, kSoi);
}

bool HasSizeFields(StreamMode mode) {
  return mode == StreamMode::kAvi1 || mode == StreamMode::kAvi1NoDri;
}

bool HasFill(StreamMode mode) {
  return mode != StreamMode::kJfif100 && mode != StreamMode::kJfif102;
}

// APP0, the comment and the early DRI. Returns whether a DRI was written.
bool WriteApplicationHeader(EncoderContext& context, FieldCode field_code, StreamMode mode) {
  EntropyOutput& output = context.output;
  if (!HasFill(mode)) {
    PutSegment(output, JfifSegment(mode == StreamMode::kJfif100 ? 0 : 2));
    return false;
  }
  PutSegment(output, Avi1Segment(field_code, HasSizeFields(mode)));
  if (mode == StreamMode::kAvi1Dc30) PutSegment(output, Dc30Segment());
  if (mode != StreamMode::kAvi1) return false;
  PutSegment(output, RestartIntervalSegment(context.restart_interval));
  return true;
}

MarkerSegment QuantTables(const EncoderContext& context) {
  std::array<NumberedQuantTable, 2> tables;
  for (uint32_t t = 0; t < 2; ++t) {
    tables[t].number = t;
    for (size_t k = 0; k < 64; ++k) {
      tables[t].steps[k] = context.quant_tables[t].values[kZigZag[k]];
    }
  }
  return QuantTablesSegment(tables);
}

void WriteScanHeaders(EncoderContext& context, bool restart_interval_written) {
  EntropyOutput& output = context.output;
  PutSegment(output, QuantTables(context));
  PutSegment(output, FrameHeaderSegment(static_cast<uint32_t>(context.width),
                                        static_cast<uint32_t>(context.height)));
  if (context.write_huffman_tables) {
    PutSegment(output, HuffmanTablesSegment(kStandardHuffmanTables));
  }
  if (context.restart_interval != 0 && !restart_interval_written) {
    PutSegment(output, RestartIntervalSegment(context.restart_interval));
  }
  PutSegment(output, ScanHeaderSegment());
}

void EncodeRows(EncoderContext& context, const ImageLines& lines) {
  const int32_t last_line = context.height - lines.pad_rows - 1;
  for (int32_t top = 0; top < context.height; top += 8) {
    std::array<const uint8_t*, 8> rows;
    for (int32_t r = 0; r < 8; ++r) {
      rows[r] = lines.first_row + std::min(top + r, last_line) * lines.stride;
    }
    context.encode_mcu_row(context, rows);
  }
}

void FinishEntropyData(EntropyOutput& output) {
  FlushBits(output);
  PutByte(output, 0xFF);
  PutByte(output, kEoi);
}

void PutFill(EntropyOutput& output) {
  const uint64_t count = FillSize(output.output_position);
  for (uint64_t i = 0; i < count; ++i) PutByte(output, 0xFF);
}

void PatchSizes(EntropyOutput output, uint64_t position, uint64_t image_size,
                uint64_t image_data_size) {
  output.output_position = position;
  PutBytes(output, SizeFieldBytes(image_size, image_data_size));
}

}  // namespace

void EncodeImage(EncoderContext& context, const ImageLines& lines, FieldCode field_code,
                 StreamMode stream_mode) {
  EntropyOutput& output = context.output;
  const uint64_t image_start = output.output_position;
  BeginImage(context);
  const uint64_t app0 = output.output_position;
  const bool restart_interval_written = WriteApplicationHeader(context, field_code, stream_mode);
  WriteScanHeaders(context, restart_interval_written);
  EncodeRows(context, lines);
  FinishEntropyData(output);
  const uint64_t data_end = output.output_position;
  if (HasFill(stream_mode)) PutFill(output);
  if (HasSizeFields(stream_mode)) {
    PatchSizes(output, app0 + kSizeFieldsOffset, output.output_position - image_start,
               data_end - image_start);
  }
}

}  // namespace tkmjpg
