// The decompression messages. The plain and the extended family share their handlers: a plain
// message is an extended one with whole-frame rectangles and no flags.
#pragma once

#include "driver/instance.h"

namespace tkmjpg {

// A width or height of -1 stands for that of the format.
struct FrameRectangle {
  int32_t x = 0;
  int32_t y = 0;
  int32_t width = -1;
  int32_t height = -1;
};

struct DecompressRequest {
  uint32_t flags = 0;
  const BITMAPINFOHEADER* source = nullptr;
  const void* source_data = nullptr;
  FrameRectangle source_rectangle;
  BITMAPINFOHEADER* output = nullptr;
  void* output_data = nullptr;
  FrameRectangle output_rectangle;
};

// With a null output the size of the format, 40, else an ICERR code.
LRESULT DecompressGetFormat(const BITMAPINFOHEADER* source, BITMAPINFOHEADER* output);

LRESULT DecompressQuery(const CodecInstance& instance, const DecompressRequest& request);
LRESULT DecompressBegin(CodecInstance& instance, const DecompressRequest& request);
LRESULT DecompressOneFrame(CodecInstance& instance, const DecompressRequest& request);
LRESULT DecompressEnd(CodecInstance& instance);

}  // namespace tkmjpg
