#include "tools/tkmjpg/streams/repair_check.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "decoder/inverse_dct.h"
#include "decoder/output_conversion.h"
#include "frame/stream_format.h"
#include "tkmjpg.h"
#include "tools/tkmjpg/streams/coefficient_reader.h"
#include "tools/tkmjpg/streams/huffman_tables.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

struct Image {
  Bytes frame;
  const ImageAnalysis& analysis;

  Bytes Scan() const {
    return frame.subspan(analysis.scan_begin, analysis.data_end - analysis.scan_begin);
  }
};

bool SameHeader(const ImageAnalysis& a, const ImageAnalysis& b) {
  return a.precision == b.precision && a.width == b.width && a.height == b.height &&
         a.components == b.components && a.sampling == b.sampling && a.rgb == b.rgb;
}

bool SameQuantTables(const ImageAnalysis& a, const ImageAnalysis& b) {
  for (size_t c = 0; c < 3; ++c) {
    if (a.QuantStepsOf(c) != b.QuantStepsOf(c)) return false;
  }
  return true;
}

bool SameHuffmanTables(const Image& a, const Image& b) {
  for (size_t c = 0; c < 3; ++c) {
    const ComponentTables x = TablesOfComponent(a.frame, a.analysis, c);
    const ComponentTables y = TablesOfComponent(b.frame, b.analysis, c);
    if (!std::ranges::equal(x.dc.subspan(1), y.dc.subspan(1))) return false;
    if (!std::ranges::equal(x.ac.subspan(1), y.ac.subspan(1))) return false;
  }
  return true;
}

// Half a marker at the end may have become an EOI.
bool SameScan(const Image& a, const Image& b) {
  const Bytes before = a.Scan(), after = b.Scan();
  size_t size = before.size();
  if (!a.analysis.complete && size > 0 && before.back() == 0xFF) --size;
  return after.size() >= size && std::equal(before.begin(), before.begin() + size, after.begin());
}

bool SameSampling(const ImageAnalysis& a, const ImageAnalysis& b) {
  return std::ranges::equal(a.shape, b.shape,
                            [](const auto& x, const auto& y) { return x.h == y.h && x.v == y.v; });
}

bool SameCodes(const Image& a, const Image& b) {
  return SameSampling(a.analysis, b.analysis) && SameHuffmanTables(a, b) && SameScan(a, b) &&
         a.analysis.restart_interval.value_or(0) == b.analysis.restart_interval.value_or(0);
}

enum class Comparison { kDifferent, kSameCodes, kSameCoefficients, kSameDamage };

Comparison CompareCoefficients(const Image& a, const Image& b) {
  CoefficientReader before(a.frame, a.analysis), after(b.frame, b.analysis);
  if (!before.Refusal().empty() || !after.Refusal().empty()) return Comparison::kDifferent;
  std::vector<McuBlocks> wanted(before.Columns()), found(after.Columns());
  for (size_t row = 0; row < before.Rows(); ++row) {
    before.ReadRow(row, wanted);
    after.ReadRow(row, found);
    if (wanted != found) return Comparison::kDifferent;
  }
  return after.Damage().empty() ? Comparison::kSameCoefficients : Comparison::kSameDamage;
}

bool CanBeRecoded(const ImageAnalysis& image) {
  return RefusalOf(image).empty() && image.loss.empty();
}

Comparison Compare(const Image& a, const Image& b) {
  if (!SameHeader(a.analysis, b.analysis)) return Comparison::kDifferent;
  const bool baseline = a.analysis.IsBaseline() || b.analysis.IsBaseline();
  if (baseline && !SameQuantTables(a.analysis, b.analysis)) return Comparison::kDifferent;
  const bool same_codes =
      a.analysis.sof == b.analysis.sof && (baseline ? SameCodes(a, b) : SameScan(a, b));
  if (same_codes) return Comparison::kSameCodes;
  const bool readable = CanBeRecoded(a.analysis) && CanBeRecoded(b.analysis);
  return readable ? CompareCoefficients(a, b) : Comparison::kDifferent;
}

// From the zig-zag position to the transposed natural index.
constexpr std::array<uint8_t, 64> MakeTransposedOrder() {
  std::array<uint8_t, 64> order{};
  for (size_t k = 0; k < 64; ++k) {
    order[k] = static_cast<uint8_t>(8 * (kZigZag[k] % 8) + kZigZag[k] / 8);
  }
  return order;
}
constexpr std::array<uint8_t, 64> kTransposedOrder = MakeTransposedOrder();

// Coefficients to pixels of layout YuYv, 16 by 8 of them at once.
class McuRenderer {
 public:
  explicit McuRenderer(const ImageAnalysis& image) {
    for (size_t c = 0; c < 2; ++c) {
      const auto& steps = image.QuantStepsOf(c);
      for (size_t k = 0; k < 64; ++k) {
        dequant_[c][kTransposedOrder[k]] = static_cast<uint16_t>(16 * steps[k]);
      }
    }
  }

  const CutMcu& Render(const McuBlocks& mcu) {
    alignas(64) uint8_t samples[kMcuBlockBytes];
    for (size_t b = 0; b < 4; ++b) {
      alignas(64) int16_t block[64];
      for (size_t k = 0; k < 64; ++k) block[kTransposedOrder[k]] = mcu[b][k];
      InverseTransformBlock(samples + 64 * b, block, dequant_[b < 2 ? 0 : 1].data());
    }
    SelectMcuConverter(PixelFormatCode::kYuyvFull)(pixels_.rows.data(), 0, samples, 8);
    return pixels_;
  }

 private:
  alignas(64) std::array<std::array<uint16_t, 64>, 2> dequant_;
  CutMcu pixels_;
};

// The whole frame as the decoder makes it, at the size of the larger image: the first image of a
// pair is on the odd lines; a field without its pair is on both.
class DecodedPicture {
 public:
  DecodedPicture(Bytes frame, const std::vector<const ImageAnalysis*>& images)
      : pair_(images.size() > 1), fields_(pair_ || images[0]->field_code.value_or(0) != 0) {
    int width = 0, height = 0;
    for (const ImageAnalysis* image : images) {
      width = std::max(width, image->width);
      height = std::max(height, image->height);
    }
    height *= fields_ ? 2 : 1;
    stride_ = 2 * static_cast<size_t>(width);
    pixels_.resize(stride_ * static_cast<size_t>(height));
    CodecCarryState carry = kNewCarryState;
    DecompressBuffer_MJPG(frame.data(), static_cast<uint32_t>(frame.size()), pixels_.data(),
                          static_cast<int32_t>(stride_), width, height,
                          pair_ || !fields_ ? 0 : TKMJPG_D_ONE_FIELD, TKMJPG_YuYv, 0, &carry);
  }

  const uint8_t* Line(size_t image, size_t line) const {
    return pixels_.data() + stride_ * (fields_ ? 2 * line + (image == 0 ? 1 : 0) : line);
  }

 private:
  bool pair_, fields_;
  size_t stride_;
  std::vector<uint8_t> pixels_;
};

// Whether image `number` of the decoded picture is what the coefficients of `original` make.
bool SamePixels(const Image& original, const DecodedPicture& picture, size_t number) {
  const auto width = static_cast<size_t>(original.analysis.width);
  const auto height = static_cast<size_t>(original.analysis.height);
  CoefficientReader reader(original.frame, original.analysis);
  std::vector<McuBlocks> mcus(reader.Columns());
  McuRenderer renderer(original.analysis);
  for (size_t top = 0; top < height; top += 8) {
    reader.ReadRow(top / 8, mcus);
    for (size_t x = 0; x < width; x += 16) {
      const CutMcu& wanted = renderer.Render(mcus[x / 16]);
      const size_t bytes = 2 * std::min<size_t>(16, width - x);
      for (size_t y = 0; y < std::min<size_t>(8, height - top); ++y) {
        const uint8_t* line = picture.Line(number, top + y) + 2 * x;
        if (std::memcmp(wanted.lines[y], line, bytes) != 0) return false;
      }
    }
  }
  return true;
}

}  // namespace

std::string ComparePictures(Bytes original, Bytes repaired) {
  const FrameAnalysis before = AnalyseFrame(original), after = AnalyseFrame(repaired);
  const auto images = before.Pictures(), copies = after.Pictures();
  if (images.size() != copies.size()) return "images are lost";
  std::vector<size_t> coded_again;
  for (size_t i = 0; i < images.size(); ++i) {
    const Comparison result = Compare({original, *images[i]}, {repaired, *copies[i]});
    if (result == Comparison::kDifferent) {
      return "image " + std::to_string(i + 1) + " has other coefficients";
    }
    if (result == Comparison::kSameCoefficients) coded_again.push_back(i);
  }
  if (coded_again.empty()) return {};
  const DecodedPicture picture(repaired, copies);
  for (const size_t i : coded_again) {
    if (!SamePixels({original, *images[i]}, picture, i)) {
      return "image " + std::to_string(i + 1) + " decodes to other pixels";
    }
  }
  return {};
}

}  // namespace tkmjpg::tool
