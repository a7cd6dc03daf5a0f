// The state of the fast rows within an image: entropy-coded bytes without their stuffing, the bits
// that are being read, and one MCU's coefficients on their way to samples.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/decoder_context.h"

namespace tkmjpg {

// The coefficients of an MCU: word 32 u + 8 l + v is that of horizontal frequency u and vertical
// frequency v of block l, so that a row of all four blocks is 64 bytes.
inline constexpr int kMcuWords = 256;

struct FastReader {
  static constexpr int kBufferBytes = 4096;
  static constexpr int kLargestMcu = 4 * 212 + 16;  // with what is read in advance
  static constexpr int kPadding = kLargestMcu + 64;

  // What the rows of all MCUs are multiplied by, in the order of their words.
  alignas(64) std::array<uint16_t, kMcuWords> dequant;
  alignas(64) std::array<std::array<int16_t, kMcuWords>, 2> coefficients{};
  std::array<std::array<uint8_t, 4>, 2> ends;  // see McuJob
  std::array<int32_t, 2> dc_reach;             // of luma and chroma: beyond it no sample is
  alignas(64) std::array<uint8_t, kMcuWords> samples;
  alignas(64) std::array<uint8_t, kBufferBytes + kPadding> buffer;
  int filled = 0;        // bytes of entropy data in the buffer
  int next = 0;          // the next one to move to `bits`
  size_t bits = 0;       // unread bits, the next one highest
  size_t bit_count = 0;  // how many of them count
  bool ended = false;    // a marker or the end of the data stands after `filled`

  explicit FastReader(const DecoderContext& context);
  // Bits that are staged and not read yet; negative when more were read than there are.
  int BitsLeft() const { return (filled - next) * 8 + static_cast<int>(bit_count); }
};

// Moves what is unread to the buffer's start and fills it up.
void StageMore(DecoderContext& context, FastReader& reader);

// Before an MCU: enough bytes for it, in the next restart interval where that begins. False when
// the image is damaged as far as that shows.
bool PrepareMcu(DecoderContext& context, FastReader& reader);

// After the last band that is wanted: whether the image was undamaged so far. One that was read to
// its end is counted. The input is left where searching on from it finds what it finds after
// DecodeMcuRow.
bool FinishFastImage(DecoderContext& context, FastReader& reader);

}  // namespace tkmjpg
