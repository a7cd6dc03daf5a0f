// Entropy-coded bytes without their stuffing (ITU T.81 B.1.1.5), on their way to a reader of bits.
#pragma once

#include "decoder/decoder_context.h"

namespace tkmjpg {

// Moves entropy data without its stuffing to `write`, until `capacity` is full, a marker comes
// (then it is the pending one) or the data ends; a lone 0xFF at the end is dropped. Returns the
// bytes moved.
int StageBytes(EntropyInput& input, uint8_t* write, int capacity);

}  // namespace tkmjpg
