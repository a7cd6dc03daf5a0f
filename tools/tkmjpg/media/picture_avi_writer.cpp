#include "tools/tkmjpg/media/picture_avi_writer.h"

#include <cstring>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/decode_layout.h"
#include "tools/tkmjpg/media/riff_bytes.h"
#include "tools/tkmjpg/media/sample_range.h"

namespace tkmjpg::tool {
namespace {

// Lines of a bitmap are padded to a multiple of 4 bytes.
size_t PaddedStride(size_t stride) { return (stride + 3) / 4 * 4; }

AviVideo Video(const VideoFormat& format, uint32_t layout) {
  const bool rgb = layout == TKMJPG_BGR3;
  const int pixel_bytes = LayoutBytesPerPixel(layout);
  const size_t stride = PaddedStride(static_cast<size_t>(format.width * pixel_bytes));
  Bytes header;  // BITMAPINFOHEADER
  for (const uint32_t word :
       {uint32_t{40}, static_cast<uint32_t>(format.width), static_cast<uint32_t>(format.height),
        static_cast<uint32_t>(pixel_bytes * 8) << 16 | 1, rgb ? 0 : layout,
        static_cast<uint32_t>(stride * static_cast<size_t>(format.height)), uint32_t{0},
        uint32_t{0}, uint32_t{0}, uint32_t{0}}) {
    Append32(header, word);
  }
  return {format, rgb ? FourCc("DIB ") : layout, FourCc("00db"), header, false};
}

}  // namespace

PictureAviWriter::PictureAviWriter(const std::string& path, const VideoFormat& format,
                                   uint32_t layout, Overwrite overwrite, const SoundTracks& sound)
    : layout_(layout),
      height_(format.height),
      range_(format.range),
      avi_(path, Video(format, layout), overwrite, sound) {}

void PictureAviWriter::Pack(const Picture& picture, Bytes& packed) const {
  const auto stride = static_cast<size_t>(picture.stride);
  const size_t padded = PaddedStride(stride);
  const auto height = static_cast<size_t>(height_);
  packed.resize(padded * height);
  for (size_t y = 0; y < height; ++y) {
    // RGB bitmaps are stored from the bottom up, YUV from the top down.
    const size_t line = layout_ == TKMJPG_BGR3 ? height - 1 - y : y;
    uint8_t* out = packed.data() + line * padded;
    std::memcpy(out, picture.pixels.data() + y * stride, stride);
    std::memset(out + stride, 0, padded - stride);
  }
  if (layout_ == TKMJPG_YUY2 && range_ == Range::kFull) {
    ChangePackedRange(Range::kLimited, FirstSample::kLuma, packed);
  }
}

}  // namespace tkmjpg::tool
