// CompressBuffer_MJPG: the exported call in front of the encoder.
#include "alpha/alpha_plane.h"
#include "encoder/frame_compressor.h"
#include "frame/layout.h"
#include "tkmjpg.h"

extern "C" uint32_t CompressBuffer_MJPG(const uint8_t* input, int32_t input_stride, uint8_t* output,
                                        uint32_t output_size, int32_t width, int32_t height,
                                        int32_t quality, uint32_t flags, uint32_t fourcc,
                                        uint32_t /*reserved*/, CodecCarryState* carry) {
  using namespace tkmjpg;
  const PixelLayout* layout = FindPixelLayout(fourcc);
  if (layout == nullptr || !layout->encoded) return 0;
  CodecCarryState local = carry != nullptr ? *carry : kNewCarryState;
  uint32_t length = CompressFrame(output, output_size, input, input_stride, width, height, flags,
                                  layout->code, &local, quality);
  if (length == 0) return 0;
  if (fourcc == TKMJPG_BGRA && (flags & TKMJPG_C_ALPHA) != 0) {
    const uint32_t alpha =
        EncodeAlphaPlane(output + length, output_size - length, input, input_stride, width, height);
    if (alpha == 0) return 0;
    length += alpha;
  }
  if (carry != nullptr) carry->rate_scale = local.rate_scale;
  return length;
}
