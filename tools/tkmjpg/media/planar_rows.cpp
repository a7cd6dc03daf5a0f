#include "tools/tkmjpg/media/planar_rows.h"

#include <algorithm>
#include <vector>

namespace tkmjpg::tool {
namespace {

// The loops over rows are kept this plain so that the compiler makes vector code of them.

// near_eighths [0, 8] of `near`, the rest of `other`.
void BlendRow(const uint8_t* __restrict near, const uint8_t* __restrict other, int near_eighths,
              uint8_t* __restrict out, int count) {
  const auto a = static_cast<uint16_t>(near_eighths), b = static_cast<uint16_t>(8 - near_eighths);
  for (int i = 0; i < count; ++i) {
    out[i] = static_cast<uint8_t>(static_cast<uint16_t>(near[i] * a + other[i] * b + 4) >> 3);
  }
}

void MeanOfPairs(const uint8_t* __restrict in, uint8_t* __restrict out, int width) {
  for (int i = 0; i < width / 2; ++i) {
    out[i] = static_cast<uint8_t>((in[2 * i] + in[2 * i + 1] + 1) >> 1);
  }
  if (width % 2 != 0) out[width / 2] = in[width - 1];
}

// row = (row * scale + offset) / 255, rounded; row * scale + offset within [0, 61088].
void ScaleRow(uint8_t* row, int scale, int offset, int count) {
  const auto a = static_cast<uint16_t>(scale), b = static_cast<uint16_t>(offset + 128);
  for (int i = 0; i < count; ++i) {
    const auto sum = static_cast<uint16_t>(row[i] * a + b);
    row[i] = static_cast<uint8_t>(static_cast<uint16_t>(sum + (sum >> 8)) >> 8);
  }
}

void PackRow(const uint8_t* __restrict y, const uint8_t* __restrict cb,
             const uint8_t* __restrict cr, uint8_t* __restrict out, int width) {
  const int pairs = width / 2;
  for (int i = 0; i < pairs; ++i) {
    out[4 * i] = y[2 * i];
    out[4 * i + 1] = cb[i];
    out[4 * i + 2] = y[2 * i + 1];
    out[4 * i + 3] = cr[i];
  }
  if (width % 2 != 0) {
    out[4 * pairs] = y[2 * pairs];
    out[4 * pairs + 1] = cb[pairs];
  }
}

// The first chroma sample stands between the luma samples 1 and 2, so a pair is a quarter of the
// way from one chroma sample to the next or the one before.
void PairsOfFours(const uint8_t* __restrict in, uint8_t* __restrict out, int pairs, int samples) {
  for (int i = 0; i < pairs; ++i) {
    const int near = i / 2, other = std::clamp(i % 2 == 0 ? near - 1 : near + 1, 0, samples - 1);
    out[i] = static_cast<uint8_t>((3 * in[near] + in[other] + 2) >> 2);
  }
}

int ChromaWidth(const PlanarFormat& format) { return ChromaSize(format).width; }
int ChromaHeight(const PlanarFormat& format) { return ChromaSize(format).height; }

struct ChromaSource {
  int near_row, other_row;
  int near_eighths;
};

// How near a chroma line is to the luma lines, in eighths: [first or second of two lines]. In a
// field the chroma lines lie a quarter down from the first line in the top field, three quarters
// in the bottom one, so that those of both fields are evenly spaced in the frame.
int NearEighths(const PlanarFormat& format, bool is_cr, int parity, int second) {
  if (format.chroma_lines == ChromaLines::kAlternate) return (second != 0) == is_cr ? 4 : 8;
  if (!format.interlaced) return 6;
  return parity == second ? 7 : 5;
}

// The rows of a 4:2:0 chroma plane between which line `y` lies.
ChromaSource SourceOfLine(const PlanarFormat& format, bool is_cr, int y) {
  const int fields = format.interlaced ? 2 : 1;
  const int parity = y % fields, line = y / fields, second = line % 2;
  const int plane_rows = ChromaHeight(format);
  const int last = std::max((plane_rows - parity + fields - 1) / fields - 1, 0);
  const auto row = [&](int field_row) {
    return std::min(std::clamp(field_row, 0, last) * fields + parity, plane_rows - 1);
  };
  const int near = line / 2;
  return {row(near), row(second != 0 ? near + 1 : near - 1),
          NearEighths(format, is_cr, parity, second)};
}

// Memory for the rows that are made on the way.
class Packer {
 public:
  Packer(const PlanarFormat& format, const uint8_t* planes)
      : format_(format),
        luma_(planes),
        cb_(luma_ + size_t(format.width) * format.height),
        cr_(cb_ + size_t(ChromaWidth(format)) * ChromaHeight(format)),
        pairs_((format.width + 1) / 2),
        rows_(size_t(pairs_) * 4, 128) {}

  void PackLine(int y, uint8_t* out) {
    const uint8_t* luma = luma_ + size_t(format_.width) * y;
    if (format_.full_range) {
      uint8_t* scaled = rows_.data() + 2 * pairs_;
      std::copy_n(luma, format_.width, scaled);
      ScaleRow(scaled, 219, 16 * 255, format_.width);
      luma = scaled;
    }
    const uint8_t* cb = ChromaLine(cb_, false, y, rows_.data());
    const uint8_t* cr = ChromaLine(cr_, true, y, rows_.data() + pairs_);
    PackRow(luma, cb, cr, out, format_.width);
  }

 private:
  // A row of `pairs_` samples for line `y`: a row of the plane itself, or made in `made`.
  const uint8_t* ChromaLine(const uint8_t* plane, bool is_cr, int y, uint8_t* made) const {
    const size_t stride = static_cast<size_t>(ChromaWidth(format_));
    const uint8_t* row = plane + stride * y;
    switch (format_.chroma) {
      case Chroma::kMono:
        return made;  // 128 from the start
      case Chroma::k420: {
        const ChromaSource source = SourceOfLine(format_, is_cr, y);
        BlendRow(plane + stride * source.near_row, plane + stride * source.other_row,
                 source.near_eighths, made, pairs_);
        row = made;
        break;
      }
      case Chroma::k444:
        MeanOfPairs(row, made, format_.width);
        row = made;
        break;
      case Chroma::k411:
        PairsOfFours(row, made, pairs_, ChromaWidth(format_));
        row = made;
        break;
      case Chroma::k422:
        break;
    }
    return format_.full_range ? LimitedChroma(row, made) : row;
  }

  const uint8_t* LimitedChroma(const uint8_t* row, uint8_t* made) const {
    if (row != made) std::copy_n(row, pairs_, made);
    ScaleRow(made, 224, 128 * (255 - 224), pairs_);
    return made;
  }

  const PlanarFormat& format_;
  const uint8_t* luma_;
  const uint8_t* cb_;
  const uint8_t* cr_;
  int pairs_;
  std::vector<uint8_t> rows_;  // Cb, Cr, then luma
};

}  // namespace

PlaneSize ChromaSize(const PlanarFormat& format) {
  const bool mono = format.chroma == Chroma::kMono;
  const int columns = mono                            ? 0
                      : format.chroma == Chroma::k444 ? 1
                      : format.chroma == Chroma::k411 ? 4
                                                      : 2;
  const int lines = format.chroma == Chroma::k420 ? 2 : 1;
  return {columns, lines, mono ? 0 : (format.width + columns - 1) / columns,
          (format.height + lines - 1) / lines};
}

size_t PlanarSize(const PlanarFormat& format) {
  return size_t(format.width) * format.height +
         2 * size_t(ChromaWidth(format)) * ChromaHeight(format);
}

void PackPlanar(const PlanarFormat& format, const uint8_t* planes, uint8_t* packed) {
  Packer packer(format, planes);
  for (int y = 0; y < format.height; ++y) packer.PackLine(y, packed + size_t(2) * format.width * y);
}

}  // namespace tkmjpg::tool
