// Decoding sound images fast. The entropy decoder here resolves up to two coefficients and the end
// of the block in one look-up and leaves everything unusual to the plain definition: when an image
// runs out of data, has a wrong restart marker or bytes to spare, it says so, and the image is
// decoded once more from its start by DecodeMcuRow. A sound image comes out the same either way.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/decoder_context.h"
#include "frame/pixel_format.h"

namespace tkmjpg {

// The coefficients of an MCU: word 32 u + 8 l + v is that of horizontal frequency u and vertical
// frequency v of block l, so that a row of all four blocks fills 64 bytes.
inline constexpr int kMcuWords = 256;

struct FastDecoder {
  static constexpr int kBufferBytes = 4096;
  static constexpr int kLargestMcu = 4 * 212 + 16;  // with what is read ahead
  static constexpr int kPadding = kLargestMcu + 64;

  // What the rows of all MCUs are multiplied by, in the order of their words.
  alignas(64) std::array<uint16_t, kMcuWords> dequant;
  alignas(64) std::array<std::array<int16_t, kMcuWords>, 2> coefficients{};
  alignas(64) std::array<uint8_t, kMcuWords> samples;
  alignas(64) std::array<uint8_t, kBufferBytes + kPadding> buffer;
  int filled = 0;          // bytes of entropy data without stuffing in the buffer
  int next = 0;            // the next one to move to `bits`
  uint64_t bits = 0;       // unread bits, the next one highest
  uint32_t bit_count = 0;  // how many of them count
  bool ended = false;      // a marker or the end of the data stands behind `filled`
};

// An MCU on its way from its coefficients to the picture.
struct McuJob {
  int16_t* coefficients;    // left zero for the next MCU
  const uint16_t* dequant;  // as FastDecoder has it
  uint8_t* samples;         // 256 bytes, aligned to 64, that a step leaves to the next ones
  uint8_t* const* rows;     // the first `row_count` lines of pixels go to rows[i] + offset
  int row_count;
  size_t offset;
};
using McuStep = void (*)(const McuJob& job);

// Transforms an MCU, converts it and stores it, in one step (the others are null) or in three. A
// long way to the pixels is better gone in three, between the blocks of the next MCU: the processor
// can look ahead to those, and they leave it time.
using McuWriter = std::array<McuStep, 3>;

inline void WriteMcu(const McuWriter& writer, const McuJob& job) {
  for (const McuStep step : writer) {
    if (step != nullptr) step(job);
  }
}

// Moves entropy data without its stuffing to `write`, until `room` is full, a marker comes (then it
// is the pending one) or the data ends. Returns the bytes moved.
using ByteStager = int (*)(EntropyInput& input, uint8_t* write, int room);

// Starts on the image that SetupDecoder has prepared.
void StartFastImage(const DecoderContext& context, FastDecoder& decoder);

// As DecodeMcuRow, for a sound image; false when it is not: decode it anew.
bool DecodeMcuRowFast(DecoderContext& context, FastDecoder& decoder,
                      const std::array<uint8_t*, 8>& rows, int row_count);

// Behind the last band: whether the image was sound. Leaves the input where DecodeMcuRow would.
bool FinishFastImage(DecoderContext& context, FastDecoder& decoder);

}  // namespace tkmjpg
