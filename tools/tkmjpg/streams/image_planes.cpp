#include "tools/tkmjpg/streams/image_planes.h"

#include <algorithm>

#include "tools/tkmjpg/streams/jpeg_library.h"
#include "tools/tkmjpg/streams/whole_image.h"

namespace tkmjpg::tool {
namespace {

constexpr int kMostRows = 4 * DCTSIZE;  // of a component that come at once

// Planes as the library fills them, whole blocks and rows of MCUs.
void MakePlanes(const jpeg_decompress_struct& decoder, ImagePlanes& image) {
  image.width = static_cast<int>(decoder.output_width);
  image.height = static_cast<int>(decoder.output_height);
  image.most_h = decoder.max_h_samp_factor;
  image.most_v = decoder.max_v_samp_factor;
  for (int c = 0; c < decoder.num_components; ++c) {
    const jpeg_component_info& component = decoder.comp_info[c];
    SamplePlane plane;
    plane.width = static_cast<int>(component.downsampled_width);
    plane.height = static_cast<int>(component.downsampled_height);
    plane.h = component.h_samp_factor;
    plane.v = component.v_samp_factor;
    plane.stride = size_t{component.width_in_blocks} * DCTSIZE;
    const size_t rows = size_t{decoder.total_iMCU_rows} * DCTSIZE * static_cast<size_t>(plane.v);
    plane.samples.resize(plane.stride * rows);
    image.planes.push_back(std::move(plane));
  }
}

void ReadRows(jpeg_decompress_struct& decoder, ImagePlanes& image) {
  JSAMPROW rows[3][kMostRows];
  JSAMPARRAY arrays[3] = {rows[0], rows[1], rows[2]};
  for (size_t mcu_row = 0; decoder.output_scanline < decoder.output_height; ++mcu_row) {
    for (size_t c = 0; c < image.planes.size(); ++c) {
      SamplePlane& plane = image.planes[c];
      const size_t count = static_cast<size_t>(plane.v) * DCTSIZE;
      for (size_t i = 0; i < count; ++i) {
        rows[c][i] = plane.samples.data() + plane.stride * (mcu_row * count + i);
      }
    }
    const auto lines = static_cast<JDIMENSION>(image.most_v * DCTSIZE);
    if (jpeg_read_raw_data(&decoder, arrays, lines) == 0) return;
  }
}

}  // namespace

ImagePlanes DecodePlanes(std::span<const uint8_t> frame, const ImageAnalysis& image) {
  const WholeImage whole = MakeWholeImage(frame, image);
  JpegLibrary library(whole.stream, whole.shift);
  ImagePlanes result;
  result.rgb = image.rgb;
  const jpeg_decompress_struct* header = nullptr;
  library.Run([&](jpeg_decompress_struct& decoder) {
    jpeg_read_header(&decoder, TRUE);
    decoder.out_color_space = decoder.jpeg_color_space;
    decoder.raw_data_out = TRUE;
    jpeg_start_decompress(&decoder);
    header = &decoder;
  });
  if (header != nullptr) MakePlanes(*header, result);
  library.Run([&](jpeg_decompress_struct& decoder) {
    ReadRows(decoder, result);
    jpeg_finish_decompress(&decoder);
  });
  result.refusal = library.Refusal();
  result.damage = library.Damage();
  return result;
}

}  // namespace tkmjpg::tool
