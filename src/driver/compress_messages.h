// The compression messages: which raw formats the driver takes, what it makes of them, one frame.
#pragma once

#include "driver/instance.h"

namespace tkmjpg {

LRESULT CompressQuery(const CodecInstance& instance, const BITMAPINFOHEADER* input,
                      const BITMAPINFOHEADER* output);

// With a null output the size of the format, 68, else an ICERR code.
LRESULT CompressGetFormat(const CodecInstance& instance, const BITMAPINFOHEADER* input,
                          BITMAPINFOHEADER* output);

// The bytes that a host plans for a frame; 0 with a null format.
LRESULT CompressGetSize(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output);

LRESULT CompressBegin(CodecInstance& instance, const BITMAPINFOHEADER* input,
                      const BITMAPINFOHEADER* output);
LRESULT CompressOneFrame(CodecInstance& instance, const ICCOMPRESS* message);
LRESULT CompressEnd(CodecInstance& instance);

}  // namespace tkmjpg
