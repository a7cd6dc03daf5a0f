#include "tools/tkmjpg/media/y4m_writer.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "tkmjpg.h"

namespace tkmjpg::tool {
namespace {

static_assert(std::endian::native == std::endian::little, "SplitRow takes luma for the low byte");

constexpr char kFrame[] = "FRAME\n";
constexpr size_t kFrameBytes = sizeof kFrame - 1;

const char* ChromaName(Chroma chroma) {
  switch (chroma) {
    case Chroma::kMono:
      return "mono";
    case Chroma::k411:
      return "411";
    case Chroma::k420:
      return "420jpeg";
    case Chroma::k444:
      return "444";
    default:
      return "422";
  }
}

std::string Header(const VideoFormat& format) {
  const char order = format.field_order == FieldOrder::kTopFirst      ? 't'
                     : format.field_order == FieldOrder::kBottomFirst ? 'b'
                                                                      : 'p';
  const auto ratio = [](Rational r) { return std::to_string(r.num) + ":" + std::to_string(r.den); };
  std::string text = "YUV4MPEG2 W" + std::to_string(format.width) + " H" +
                     std::to_string(format.height) + " F" + ratio(format.rate) + " I" + order +
                     " A" + ratio(format.pixel_aspect) + " C" + ChromaName(format.chroma);
  return text + (format.range == Range::kFull ? " XCOLORRANGE=FULL\n" : " XCOLORRANGE=LIMITED\n");
}

// Words instead of bytes: compilers make vector code of this.
void SplitRow(const uint8_t* __restrict in, uint8_t* __restrict luma, uint8_t* __restrict cb,
              uint8_t* __restrict cr, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    uint32_t pair;
    std::memcpy(&pair, in + 4 * i, sizeof pair);
    const uint16_t both = static_cast<uint16_t>((pair & 0xFF) | (pair >> 8 & 0xFF00));
    std::memcpy(luma + 2 * i, &both, sizeof both);
    cb[i] = static_cast<uint8_t>(pair >> 8);
    cr[i] = static_cast<uint8_t>(pair >> 24);
  }
}

}  // namespace

Y4mWriter::Y4mWriter(const std::string& path, const VideoFormat& format, Overwrite overwrite)
    : width_(format.width),
      height_(format.height),
      planar_(format.chroma != Chroma::k422 || format.width % 2 != 0),
      file_(path, overwrite) {
  const std::string header = Header(format);
  file_.Write({reinterpret_cast<const uint8_t*>(header.data()), header.size()});
}

uint32_t Y4mWriter::Layout() const { return planar_ ? 0 : TKMJPG_YuYv; }

void Y4mWriter::Pack(const Picture& picture, Bytes& packed) const {
  if (planar_) {
    packed.resize(kFrameBytes + picture.pixels.size());
    std::memcpy(packed.data(), kFrame, kFrameBytes);
    std::ranges::copy(picture.pixels, packed.begin() + kFrameBytes);
    return;
  }
  const size_t chroma_width = static_cast<size_t>(width_) / 2;
  const size_t luma_size = static_cast<size_t>(width_) * static_cast<size_t>(height_);
  const size_t chroma_size = chroma_width * static_cast<size_t>(height_);
  packed.resize(kFrameBytes + luma_size + 2 * chroma_size);
  std::memcpy(packed.data(), kFrame, kFrameBytes);
  uint8_t* luma = packed.data() + kFrameBytes;
  uint8_t* cb = luma + luma_size;
  uint8_t* cr = cb + chroma_size;
  for (int y = 0; y < height_; ++y) {
    const uint8_t* row = picture.pixels.data() + y * picture.stride;
    SplitRow(row, luma, cb, cr, width_ / 2);
    luma += width_;
    cb += chroma_width;
    cr += chroma_width;
  }
}

}  // namespace tkmjpg::tool
