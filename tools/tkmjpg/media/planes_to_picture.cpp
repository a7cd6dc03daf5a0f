#include "tools/tkmjpg/media/planes_to_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "frame/layout.h"
#include "tools/tkmjpg/media/plane_scaler.h"

namespace tkmjpg::tool {
namespace {

using Rows = std::array<const uint8_t*, 3>;

// 2^16 times the gains of ITU-R BT.601 between Y Cb Cr and RGB.
constexpr int kFraction = 16, kHalf = 1 << (kFraction - 1);
constexpr int Fixed(double gain) { return static_cast<int>(std::lround(gain * (1 << kFraction))); }

uint8_t Level(int sum) { return static_cast<uint8_t>(std::clamp(sum >> kFraction, 0, 255)); }

struct RgbGains {
  int black, luma, red, green_of_cb, green_of_cr, blue;
};
const RgbGains kFromFull = {0,           Fixed(1), Fixed(1.402), Fixed(-0.344136), Fixed(-0.714136),
                            Fixed(1.772)};
const RgbGains kFromLimited = {16,
                               Fixed(255 / 219.),
                               Fixed(1.402 * 255 / 224),
                               Fixed(-0.344136 * 255 / 224),
                               Fixed(-0.714136 * 255 / 224),
                               Fixed(1.772 * 255 / 224)};

struct Bgr {
  uint8_t b, g, r;
};

Bgr ToBgr(const RgbGains& gains, int y, int cb, int cr) {
  const int luma = (y - gains.black) * gains.luma + kHalf;
  return {Level(luma + gains.blue * (cb - 128)),
          Level(luma + gains.green_of_cb * (cb - 128) + gains.green_of_cr * (cr - 128)),
          Level(luma + gains.red * (cr - 128))};
}

// One line of planes at full size, and a place for it.
class RgbLine {
 public:
  RgbLine(const PixelLayout& layout, bool is_rgb, bool full_range)
      : layout_(layout),
        gains_(full_range || layout.code == layout.full_range ? kFromFull : kFromLimited),
        is_rgb_(is_rgb) {}

  void Write(const Rows& rows, uint8_t* out, int width) const {
    const size_t bytes = BytesPerPixel(layout_.code);
    for (int x = 0; x < width; ++x, out += bytes) {
      const Bgr pixel = is_rgb_ ? Bgr{rows[2][x], rows[1][x], rows[0][x]}
                                : ToBgr(gains_, rows[0][x], rows[1][x], rows[2][x]);
      Put(pixel, out);
    }
  }

 private:
  // A fourth byte stays: it may be alpha.
  void Put(const Bgr& p, uint8_t* out) const {
    if (layout_.kind == PixelKind::kRgb16) return PutWord(p, out);
    out[0] = p.b;
    out[1] = p.g;
    out[2] = p.r;
  }

  void PutWord(const Bgr& p, uint8_t* out) const {
    const auto bits = [](uint32_t level, uint32_t most) { return (level * most + 127) / 255; };
    const bool six = layout_.code == PixelFormatCode::kRgb565;
    const uint32_t word =
        bits(p.r, 31) << (six ? 11 : 10) | bits(p.g, six ? 63 : 31) << 5 | bits(p.b, 31);
    out[0] = static_cast<uint8_t>(word);
    out[1] = static_cast<uint8_t>(word >> 8);
  }

  const PixelLayout& layout_;
  RgbGains gains_;
  bool is_rgb_;
};

// One line of 4:2:2. Of an odd width the last half pair has no second chroma sample.
void WritePairs(const PixelLayout& layout, bool limited, const Rows& rows, uint8_t* out,
                int width) {
  for (int x = 0; x < width; ++x) {
    const uint8_t y = rows[0][x];
    out[2 * x + layout.luma] = limited ? std::clamp<uint8_t>(y, 16, 235) : y;
  }
  for (int i = 0; i < width / 2; ++i) {
    out[4 * i + layout.cb] = rows[1][i];
    out[4 * i + layout.cr] = rows[2][i];
  }
  if (width % 2 != 0) out[2 * width - 1 - layout.luma] = rows[1][width / 2];
}

// The planes of an image at the size of the picture, or a part of it for chroma.
class ImageRows {
 public:
  ImageRows(const ImagePlanes& image, const LineShare& share) : image_(image), share_(share) {}

  // A sample for `x` columns and `y` lines.
  PlaneScaler Plane(size_t number, int x, int y, int width) const {
    const SamplePlane& plane = image_.planes[number];
    const int lines = share_.interpolated ? 2 : 1;
    return {{plane.samples.data(), plane.stride, plane.width},
            ScaledAxis(plane.width, plane.h * x, image_.most_h),
            ScaledAxis(plane.height, plane.v * y, image_.most_v * lines),
            width};
  }

  int Lines() const { return image_.height * (share_.interpolated ? 2 : 1); }

 private:
  const ImagePlanes& image_;
  LineShare share_;
};

// Where an image's lines are in a plane or picture.
template <typename Write>
void ForEachLine(const LineShare& share, int image_lines, int picture_lines, Write write) {
  for (int i = 0; i < image_lines && share.first + i * share.step < picture_lines; ++i) {
    write(i, static_cast<size_t>(share.first + i * share.step));
  }
}

ImagePlanes ToYCbCr(const ImagePlanes& rgb, bool full_range) {
  ImagePlanes out;
  out.width = rgb.width;
  out.height = rgb.height;
  for (int c = 0; c < 3; ++c) {
    SamplePlane plane{rgb.width, rgb.height, static_cast<size_t>(rgb.width), 1, 1, {}};
    plane.samples.resize(plane.stride * static_cast<size_t>(rgb.height));
    out.planes.push_back(std::move(plane));
  }
  const double luma = full_range ? 1 : 219 / 255., chroma = full_range ? 1 : 224 / 255.;
  const int gains[3][3] = {
      {Fixed(0.299 * luma), Fixed(0.587 * luma), Fixed(0.114 * luma)},
      {Fixed(-0.168736 * chroma), Fixed(-0.331264 * chroma), Fixed(0.5 * chroma)},
      {Fixed(0.5 * chroma), Fixed(-0.418688 * chroma), Fixed(-0.081312 * chroma)}};
  const int zero[3] = {full_range ? 0 : 16, 128, 128};
  const ImageRows source(rgb, {});
  std::array<PlaneScaler, 3> planes = {source.Plane(0, 1, 1, rgb.width),
                                       source.Plane(1, 1, 1, rgb.width),
                                       source.Plane(2, 1, 1, rgb.width)};
  for (int y = 0; y < rgb.height; ++y) {
    const Rows rows = {planes[0].Row(y), planes[1].Row(y), planes[2].Row(y)};
    for (size_t c = 0; c < 3; ++c) {
      uint8_t* made = out.planes[c].samples.data() + out.planes[c].stride * static_cast<size_t>(y);
      for (int x = 0; x < rgb.width; ++x) {
        const int sum =
            gains[c][0] * rows[0][x] + gains[c][1] * rows[1][x] + gains[c][2] * rows[2][x];
        made[x] = Level(sum + (zero[c] << kFraction) + kHalf);
      }
    }
  }
  return out;
}

// What is missing of grey images is 128.
class Filler {
 public:
  Filler(const ImagePlanes& image, const LineShare& share, Picture& picture)
      : image_(image), rows_(image, share), share_(share), picture_(picture) {}

  void PutPacked(const PixelLayout& layout, bool full_range) {
    const int bytes = static_cast<int>(BytesPerPixel(layout.code));
    const int width = std::min(static_cast<int>(picture_.stride) / bytes, image_.width);
    const int lines = static_cast<int>(static_cast<int64_t>(picture_.pixels.size()) /
                                       std::max<int64_t>(picture_.stride, 1));
    const bool pairs = layout.kind == PixelKind::kPackedYuv;
    const bool limited = layout.code != layout.full_range && !full_range;
    const RgbLine rgb(layout, image_.rgb, full_range);
    MakeScalers(pairs ? 2 : 1, 1, width);
    ForEachLine(share_, rows_.Lines(), lines, [&](int i, size_t line) {
      uint8_t* out = picture_.pixels.data() + static_cast<size_t>(picture_.stride) * line;
      const Rows rows = {scalers_[0].Row(i), Chroma(1, i), Chroma(2, i)};
      pairs ? WritePairs(layout, limited, rows, out, width) : rgb.Write(rows, out, width);
    });
  }

  void PutPlanar() {
    const PlanarFormat& format = picture_.planes;
    const PlaneSize chroma = ChromaSize(format);
    uint8_t* out = picture_.pixels.data();
    MakeScalers(chroma.columns, chroma.lines, std::min(format.width, image_.width));
    for (size_t c = 0; c < 3; ++c) {
      const int width = c == 0 ? format.width : chroma.width;
      const int height = c == 0 ? format.height : chroma.height;
      const int lines = c == 0 ? rows_.Lines() : (rows_.Lines() + chroma.lines - 1) / chroma.lines;
      if (width == 0) return;
      ForEachLine(share_, lines, height, [&](int i, size_t line) {
        const uint8_t* row = c == 0 ? scalers_[0].Row(i) : Chroma(c, i);
        std::memcpy(out + static_cast<size_t>(width) * line, row,
                    static_cast<size_t>(c == 0 ? luma_width_ : chroma_width_));
      });
      out += static_cast<size_t>(width) * static_cast<size_t>(height);
    }
  }

 private:
  void MakeScalers(int columns, int lines, int width) {
    luma_width_ = width;
    chroma_width_ = columns == 0 ? 0 : (width + columns - 1) / columns;
    grey_.assign(static_cast<size_t>(chroma_width_), 128);
    scalers_.push_back(rows_.Plane(0, 1, 1, width));
    if (image_.planes.size() < 3 || columns == 0) return;
    scalers_.push_back(rows_.Plane(1, columns, lines, chroma_width_));
    scalers_.push_back(rows_.Plane(2, columns, lines, chroma_width_));
  }

  const uint8_t* Chroma(size_t component, int row) {
    return scalers_.size() < 3 ? grey_.data() : scalers_[component].Row(row);
  }

  const ImagePlanes& image_;
  ImageRows rows_;
  LineShare share_;
  Picture& picture_;
  std::vector<PlaneScaler> scalers_;
  int luma_width_ = 0, chroma_width_ = 0;
  std::vector<uint8_t> grey_;
};

}  // namespace

void PutPlanes(const ImagePlanes& image, const LineShare& share, bool full_range,
               Picture& picture) {
  const PixelLayout* layout = FindPixelLayout(picture.layout);
  const bool wants_yuv = layout == nullptr || layout->kind == PixelKind::kPackedYuv;
  if (image.rgb && wants_yuv) {
    return PutPlanes(ToYCbCr(image, full_range), share, full_range, picture);
  }
  Filler filler(image, share, picture);
  layout == nullptr ? filler.PutPlanar() : filler.PutPacked(*layout, full_range);
}

}  // namespace tkmjpg::tool
