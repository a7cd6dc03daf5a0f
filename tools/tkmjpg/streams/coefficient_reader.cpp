#include "tools/tkmjpg/streams/coefficient_reader.h"

#include <algorithm>

#include "frame/stream_format.h"

namespace tkmjpg::tool {
namespace {

// What there can be of samples of 8 bits (ITU T.81 F.1.2), and any DC difference has 11 bits.
constexpr int16_t kLowestDc = -1024, kHighest = 1023, kLowestAc = -1023;

// To zig-zag order. False if a coefficient had to be limited.
bool CopyBlock(const JCOEF* natural, std::array<int16_t, 64>& block) {
  bool within = true;
  for (size_t k = 0; k < 64; ++k) {
    const int16_t value = natural[kZigZag[k]];
    block[k] = std::clamp(value, k == 0 ? kLowestDc : kLowestAc, kHighest);
    within = within && block[k] == value;
  }
  return within;
}

}  // namespace

CoefficientReader::CoefficientReader(std::span<const uint8_t> frame, const ImageAnalysis& image)
    : whole_(MakeWholeImage(frame, image)),
      library_(whole_.stream, whole_.shift),
      columns_((static_cast<size_t>(image.width) + 15) / 16),
      rows_((static_cast<size_t>(image.height) + 7) / 8) {
  library_.Run([this](jpeg_decompress_struct& decoder) {
    jpeg_read_header(&decoder, TRUE);
    arrays_ = jpeg_read_coefficients(&decoder);
  });
}

void CoefficientReader::ReadRow(size_t row, std::span<McuBlocks> mcus) {
  std::ranges::fill(mcus, McuBlocks{});
  for (size_t component = 0; component < 3; ++component) ReadBlocks(component, row, mcus);
}

void CoefficientReader::ReadBlocks(size_t component, size_t row, std::span<McuBlocks> mcus) {
  const JCOEF(*blocks)[DCTSIZE2] = nullptr;
  const bool there = library_.Run([&](jpeg_decompress_struct& decoder) {
    const auto line = static_cast<JDIMENSION>(row);
    blocks = decoder.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&decoder),
                                             arrays_[component], line, 1, FALSE)[0];
  });
  if (!there) return;
  for (size_t x = 0; x < mcus.size(); ++x) {
    bool within = true;
    if (component == 0) {
      within = CopyBlock(blocks[2 * x], mcus[x][0]);
      within = CopyBlock(blocks[2 * x + 1], mcus[x][1]) && within;
    } else {
      within = CopyBlock(blocks[x], mcus[x][component + 1]);
    }
    if (!within && range_damage_.empty()) {
      range_damage_ =
          "coefficients beyond those of 8-bit samples in the lines from " + std::to_string(8 * row);
    }
  }
}

}  // namespace tkmjpg::tool
