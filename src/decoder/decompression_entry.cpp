// DecompressBuffer_MJPG: the exported call in front of the decoder.
#include <optional>

#include "alpha/alpha_plane.h"
#include "decoder/frame_decompressor.h"
#include "tkmjpg.h"

namespace tkmjpg {
namespace {

// The full-range flag is DecompressFrame's to act on; some names ask for full range by themselves.
std::optional<PixelFormatCode> FormatOf(uint32_t fourcc) {
  switch (fourcc) {
    case TKMJPG_YUY2:
    case TKMJPG_YUYV:
      return PixelFormatCode::kYuyv;
    case TKMJPG_UYVY:
      return PixelFormatCode::kUyvy;
    case TKMJPG_YuYv:
      return PixelFormatCode::kYuyvFull;
    case TKMJPG_UyVy:
      return PixelFormatCode::kUyvyFull;
    case TKMJPG_BGR3:
      return PixelFormatCode::kBgr24;
    case TKMJPG_bgr3:
      return PixelFormatCode::kBgr24Full;
    case TKMJPG_BGR4:
      return PixelFormatCode::kBgrx32;
    case TKMJPG_bgr4:
      return PixelFormatCode::kBgrx32Full;
    case TKMJPG_BGRA:
      return PixelFormatCode::kBgra32;
    case TKMJPG_bgra:
      return PixelFormatCode::kBgra32Full;
    case TKMJPG_R555:
      return PixelFormatCode::kRgb555;
    case TKMJPG_R565:
      return PixelFormatCode::kRgb565;
    default:
      return std::nullopt;
  }
}

}  // namespace
}  // namespace tkmjpg

extern "C" uint32_t DecompressBuffer_MJPG(const uint8_t* input, uint32_t input_size,
                                          uint8_t* output, int32_t output_stride, int32_t width,
                                          int32_t height, uint32_t flags, uint32_t fourcc,
                                          uint32_t /*reserved*/, CodecCarryState* carry) {
  using namespace tkmjpg;
  const auto format = FormatOf(fourcc);
  if (!format) return 0;
  CodecCarryState local = kNewCarryState;
  const uint8_t* stop = DecompressFrame(input, input_size, output, output_stride, width, height,
                                        flags, *format, carry != nullptr ? carry : &local);
  if (fourcc == TKMJPG_BGRA || fourcc == TKMJPG_bgra) {
    // A negative width or height has no pixels there, so that no alpha is read.
    DecodeAlphaPlane(stop, input_size - static_cast<uint32_t>(stop - input), output, output_stride,
                     width, height);
  }
  return 1;
}
