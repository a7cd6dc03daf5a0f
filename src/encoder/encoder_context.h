// The encoder's record for one frame. CompressFrame makes it; nothing in it outlives the call.
#pragma once

#include <array>
#include <cstdint>

#include "frame/layout.h"

namespace tkmjpg {

struct EncoderContext;

// Where a frame's bytes go. After `output_capacity` bytes they are counted and not stored, so that
// the length is true even when the capacity is too small.
struct EntropyOutput {
  uint8_t* output_start = nullptr;
  uint32_t output_capacity = 0;
  uint64_t output_position = 0;  // bytes from output_start to the next one to write
  uint32_t bit_accumulator = 0;  // the pending bits are its low bit_count bits
  uint32_t bit_count = 0;        // [0, 7] between blocks
};

struct EncoderQuantTable {
  std::array<uint8_t, 64> values;  // natural order, [1, 255]
};

// What the quantiser multiplies by instead of dividing, natural order.
struct QuantiserTable {
  alignas(64) std::array<uint16_t, 64> quant_reciprocal;  // [14, 32256]
  alignas(64) std::array<uint16_t, 64> quant_correction;  // [0, 2298]
};

struct EncoderContext {
  void (*encode_mcu_row)(EncoderContext& context,
                         const std::array<const uint8_t*, 8>& rows) = nullptr;
  std::array<EncoderQuantTable, 2> quant_tables;  // luma, chroma
  std::array<QuantiserTable, 2> quantisers;       // made from quant_tables by BeginImage
  std::array<int32_t, 3> last_dc{};               // DC predictors of Y, Cb, Cr
  bool write_huffman_tables = false;              // every image carries DHT
  PixelFormatCode pixel_format{};
  int32_t width = 0;              // pixels per line, [0, 65535]
  int32_t height = 0;             // lines of the image, a multiple of 8
  uint32_t mcus_per_row = 0;      // (width + 15) / 16
  uint32_t restart_interval = 0;  // MCUs between restart markers; 0, as always so far, for none
  uint32_t restart_number = 0;    // the next RSTn, [0, 7]
  uint32_t restarts_to_go = 0;    // MCUs until it
  EntropyOutput output;
};

}  // namespace tkmjpg
