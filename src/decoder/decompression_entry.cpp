// DecompressBuffer_MJPG: the exported call in front of the decoder.
#include "alpha/alpha_plane.h"
#include "decoder/frame_decompressor.h"
#include "frame/layout.h"
#include "tkmjpg.h"

extern "C" uint32_t DecompressBuffer_MJPG(const uint8_t* input, uint32_t input_size,
                                          uint8_t* output, int32_t output_stride, int32_t width,
                                          int32_t height, uint32_t flags, uint32_t fourcc,
                                          uint32_t /*reserved*/, CodecCarryState* carry) {
  using namespace tkmjpg;
  const PixelLayout* layout = FindPixelLayout(fourcc);
  if (layout == nullptr || !layout->decoded) return 0;
  CodecCarryState local = kNewCarryState;
  const uint8_t* stop = DecompressFrame(input, input_size, output, output_stride, width, height,
                                        flags, layout->code, carry != nullptr ? carry : &local)
                            .stop;
  if (layout->last_byte != 0) {
    // A negative width or height has no pixels there, so that no alpha is read.
    DecodeAlphaPlane(stop, input_size - static_cast<uint32_t>(stop - input), output, output_stride,
                     width, height);
  }
  return 1;
}
