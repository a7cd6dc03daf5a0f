// One image of a frame: SOI, headers, entropy-coded rows, EOI, fill and the size fields.
#pragma once

#include <cstdint>

#include "encoder/encoder_context.h"
#include "frame/stream_format.h"

namespace tkmjpg {

// The raw lines of one image. The last `pad_rows` (0 to 7) of the context's `height` lines do not
// exist: the last real line stands for each of them.
struct ImageLines {
  const uint8_t* first_row;
  int64_t stride;  // signed bytes from a line of the image to the next
  int32_t pad_rows;
};

// Codes the image at the output's position. Before the call, the context's format, sizes and
// quant_tables are set; everything else is set here, so that an image can be coded once more over
// its own bytes.
void EncodeImage(EncoderContext& context, const ImageLines& lines, FieldCode field_code,
                 StreamMode stream_mode);

}  // namespace tkmjpg
