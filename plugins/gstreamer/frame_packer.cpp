#include "gstreamer/frame_packer.h"

#include <algorithm>
#include <array>

namespace tkmjpg::gst {
namespace {

constexpr std::array<uint8_t, 256> ScaleTable(int from_base, int from_span, int to_base,
                                              int to_span) {
  std::array<uint8_t, 256> table{};
  for (int i = 0; i < 256; ++i) {
    // Rounded; the offset keeps the division away from negative numbers. [-9520, 61200]
    const int scaled =
        ((i - from_base) * to_span * 2 + from_span + 512 * from_span) / (from_span * 2);
    table[i] = static_cast<uint8_t>(std::clamp(scaled - 256 + to_base, 0, 255));
  }
  return table;
}

// What each sample becomes.
struct RangeTables {
  std::array<uint8_t, 256> luma, chroma;
};

// In the order of RangeChange.
constexpr RangeTables kTables[] = {
    {ScaleTable(0, 255, 0, 255), ScaleTable(0, 255, 0, 255)},
    {ScaleTable(16, 219, 0, 255), ScaleTable(128, 224, 128, 255)},
    {ScaleTable(0, 255, 16, 219), ScaleTable(128, 255, 128, 224)},
};
static_assert(kTables[0].luma[77] == 77 && kTables[1].luma[235] == 255 &&
              kTables[1].luma[16] == 0 && kTables[2].luma[255] == 235 &&
              kTables[2].chroma[128] == 128);

struct Samples {
  const uint8_t* data;
  int step;
};

Samples Line(const GstVideoFrame& frame, int component, int row) {
  const bool vyuy = GST_VIDEO_FRAME_FORMAT(&frame) == GST_VIDEO_FORMAT_VYUY;
  const auto* data = static_cast<const uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, component));
  // GStreamer 1.22 describes the chroma of VYUY as that of UYVY: Cr comes first in truth.
  if (vyuy && component != 0) {
    data = static_cast<const uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
           (component == 2 ? 0 : 2);
  }
  return {data + static_cast<ptrdiff_t>(row) * GST_VIDEO_FRAME_COMP_STRIDE(&frame, component),
          GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component)};
}

int ChromaRow(const GstVideoFrame& frame, int y) {
  if (GST_VIDEO_FORMAT_INFO_H_SUB(frame.info.finfo, 1) == 0) return y;
  const int row = GST_VIDEO_FRAME_IS_INTERLACED(&frame) ? y / 4 * 2 + y % 2 : y / 2;
  return std::min(row, GST_VIDEO_FRAME_COMP_HEIGHT(&frame, 1) - 1);
}

// Apart from PackLine so that it can become vector instructions.
void PackPlanarPairs(const uint8_t* __restrict luma, const uint8_t* __restrict cb,
                     const uint8_t* __restrict cr, int pairs, uint8_t* __restrict out) {
  for (int i = 0; i < pairs; ++i) {
    out[4 * i] = luma[2 * i];
    out[4 * i + 1] = cb[i];
    out[4 * i + 2] = luma[2 * i + 1];
    out[4 * i + 3] = cr[i];
  }
}

void PackPairs(Samples luma, Samples cb, Samples cr, int begin, int width,
               const RangeTables& tables, uint8_t* out) {
  for (int i = begin; i < (width + 1) / 2; ++i) {
    out[4 * i] = tables.luma[luma.data[2 * i * luma.step]];
    out[4 * i + 1] = tables.chroma[cb.data[i * cb.step]];
    out[4 * i + 2] = tables.luma[luma.data[std::min(2 * i + 1, width - 1) * luma.step]];
    out[4 * i + 3] = tables.chroma[cr.data[i * cr.step]];
  }
}

}  // namespace

void PackYuy2(const GstVideoFrame& frame, RangeChange change, uint8_t* out) {
  const int width = GST_VIDEO_FRAME_WIDTH(&frame);
  const RangeTables& tables = kTables[static_cast<int>(change)];
  const bool planar =
      GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, 0) == 1 && GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, 1) == 1;
  const int plain_pairs = planar && change == RangeChange::kNone ? width / 2 : 0;
  for (int y = 0; y < GST_VIDEO_FRAME_HEIGHT(&frame); ++y) {
    const Samples luma = Line(frame, 0, y);
    const Samples cb = Line(frame, 1, ChromaRow(frame, y));
    const Samples cr = Line(frame, 2, ChromaRow(frame, y));
    PackPlanarPairs(luma.data, cb.data, cr.data, plain_pairs, out);
    PackPairs(luma, cb, cr, plain_pairs, width, tables, out);
    out += (width + 1) / 2 * 4;
  }
}

}  // namespace tkmjpg::gst
