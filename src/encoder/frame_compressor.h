// The encoder's core: one raw frame to one stream.
#pragma once

#include <cstdint>

#include "frame/layout.h"

namespace tkmjpg {

// CompressFlags: the bits that CompressFrame reads. 20 to 23 are the StreamMode.
enum CompressFlags : uint32_t {
  kWriteHuffmanTables = 0x1,
  kCodeOneField = 0x2,        // with kFieldCoding
  kSwapFieldLines = 0x4,      // with kFieldCoding
  kFieldCode2First = 0x20,    // with kFieldCoding
  kStrongRateControl = 0x80,  // with kRateControl
  kRateControl = 0x10000,     // `quality` is a target size in bytes
  kFieldCoding = 0x20000,
};

// Returns the length of the stream, or 0 when it does not fit output_capacity or a size is above
// what a stream can say; the carry's rate_scale is then unchanged. `format` is one of the
// encoder's.
uint32_t CompressFrame(uint8_t* output, uint32_t output_capacity, const uint8_t* input,
                       int32_t stride, int32_t width, int32_t height, uint32_t flags,
                       PixelFormatCode format, CodecCarryState* carry, int32_t quality);

}  // namespace tkmjpg
