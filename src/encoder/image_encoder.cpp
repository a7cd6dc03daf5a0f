#include "encoder/image_encoder.h"

#include <algorithm>
#include <optional>

#include "encoder/entropy_output.h"
#include "encoder/forward_dct.h"

namespace tkmjpg {
namespace {

// Where the two size fields of a long AVI1 segment lie, from the marker's 0xFF.
constexpr uint64_t kSizeFieldsOffset = 10;

struct Component {
  uint8_t component_id, sampling, quant_index, huffman_tables;
};
// Identifiers are 0, 1, 2. Sampling is horizontal << 4 | vertical, tables are DC << 4 | AC.
constexpr Component kComponents[3] = {{0, 0x21, 0, 0x00}, {1, 0x11, 1, 0x11}, {2, 0x11, 1, 0x11}};

void PutMarker(EntropyOutput& output, Marker marker, uint32_t length) {
  PutByte(output, 0xFF);
  PutByte(output, marker);
  PutWord(output, length);
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

void PutRestartInterval(EncoderContext& context) {
  PutMarker(context.output, kDri, 4);
  PutWord(context.output, context.restart_interval);
}

void PutAvi1(EntropyOutput& output, FieldCode field_code, bool with_sizes) {
  constexpr uint8_t kTag[4] = {'A', 'V', 'I', '1'};
  PutMarker(output, kApp0, with_sizes ? 16 : 10);
  PutBytes(output, kTag);
  PutByte(output, field_code);
  for (int i = 0; i < (with_sizes ? 9 : 3); ++i) PutByte(output, 0);
}

void PutJfif(EntropyOutput& output, uint8_t minor_version) {
  // Version, no density unit, density 1 x 1, no thumbnail.
  const uint8_t payload[14] = {'J', 'F', 'I', 'F', 0, 1, minor_version, 0, 0, 1, 0, 1, 0, 0};
  PutMarker(output, kApp0, 16);
  PutBytes(output, payload);
}

bool HasSizeFields(StreamMode mode) {
  return mode == StreamMode::kAvi1 || mode == StreamMode::kAvi1NoDri;
}

bool HasFill(StreamMode mode) {
  return mode != StreamMode::kJfif100 && mode != StreamMode::kJfif102;
}

// APP0, the comment and the early DRI. Returns whether a DRI was written.
bool WriteApplicationHeader(EncoderContext& context, FieldCode field_code, StreamMode mode) {
  if (!HasFill(mode)) {
    PutJfif(context.output, mode == StreamMode::kJfif100 ? 0 : 2);
    return false;
  }
  PutAvi1(context.output, field_code, HasSizeFields(mode));
  if (mode == StreamMode::kAvi1Dc30) {
    constexpr uint8_t kComment[8] = {'D', 'C', '3', '0', 4, 1, 0, 0};
    PutMarker(context.output, kCom, 10);
    PutBytes(context.output, kComment);
  }
  if (mode == StreamMode::kAvi1) PutRestartInterval(context);
  return mode == StreamMode::kAvi1;
}

void PutQuantTables(EncoderContext& context) {
  PutMarker(context.output, kDqt, 2 + 2 * 65);
  for (uint32_t t = 0; t < 2; ++t) {
    PutByte(context.output, t);
    for (const uint8_t n : kZigZag) PutByte(context.output, context.quant_tables[t].values[n]);
  }
}

void PutFrameHeader(EncoderContext& context) {
  PutMarker(context.output, kSof0, 17);
  PutByte(context.output, 8);
  PutWord(context.output, static_cast<uint32_t>(context.height));
  PutWord(context.output, static_cast<uint32_t>(context.width));
  PutByte(context.output, 3);
  for (const Component& c : kComponents) {
    PutByte(context.output, c.component_id);
    PutByte(context.output, c.sampling);
    PutByte(context.output, c.quant_index);
  }
}

template <int N>
void PutHuffmanTable(EntropyOutput& output, uint8_t table_class_and_id,
                     const HuffmanSpec<N>& huffman) {
  PutByte(output, table_class_and_id);
  PutBytes(output, huffman.counts);
  PutBytes(output, huffman.values);
}

void PutHuffmanTables(EntropyOutput& output) {
  PutMarker(output, kDht, 2 + 4 * 17 + 2 * 12 + 2 * 162);
  PutHuffmanTable(output, 0x00, kDcLumaSpec);
  PutHuffmanTable(output, 0x10, kAcLumaSpec);
  PutHuffmanTable(output, 0x01, kDcChromaSpec);
  PutHuffmanTable(output, 0x11, kAcChromaSpec);
}

void PutScanHeader(EntropyOutput& output) {
  PutMarker(output, kSos, 12);
  PutByte(output, 3);
  for (const Component& c : kComponents) {
    PutByte(output, c.component_id);
    PutByte(output, c.huffman_tables);
  }
  PutByte(output, 0);   // Ss
  PutByte(output, 63);  // Se
  PutByte(output, 0);   // Ah, Al
}

void WriteScanHeaders(EncoderContext& context, bool restart_interval_written) {
  PutQuantTables(context);
  PutFrameHeader(context);
  if (context.write_huffman_tables) PutHuffmanTables(context.output);
  if (context.restart_interval != 0 && !restart_interval_written) PutRestartInterval(context);
  PutScanHeader(context.output);
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

// At least 8 bytes of 0xFF, up to a multiple of 8 from the start of the frame.
void PutFill(EntropyOutput& output) {
  const uint64_t count = 8 + (-output.output_position & 7);
  for (uint64_t i = 0; i < count; ++i) PutByte(output, 0xFF);
}

void PatchSizes(EntropyOutput output, uint64_t position, uint64_t image_size,
                uint64_t image_data_size) {
  output.output_position = position;
  for (const uint64_t size : {image_size, image_data_size}) {
    PutWord(output, static_cast<uint32_t>(size) >> 16);
    PutWord(output, static_cast<uint32_t>(size));
  }
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
