#include "tools/tkmjpg/streams/lossless_recode.h"

#include <algorithm>

#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "frame/stream_format.h"
#include "tools/tkmjpg/streams/coefficient_reader.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMostImages = 2;
// Each of 64 coefficients has a code of up to 16 bits and 11 more at most, and each byte of that
// may be a stuffed one.
constexpr size_t kMostMcuBytes = 4 * 64 * 27 / 8 * 2;
constexpr size_t kSizeFieldsOffset = 12;  // in an image, of the AVI1 segment that begins it

void PutSegment(Bytes& out, Marker marker, const Bytes& payload) {
  const size_t length = payload.size() + 2;
  out.insert(out.end(),
             {0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
  out.insert(out.end(), payload.begin(), payload.end());
}

// One image behind what `out` holds.
class ImageRecoder {
 public:
  ImageRecoder(std::span<const uint8_t> frame, const ImageAnalysis& image, const QuantTables& quant,
               Bytes& out)
      : frame_(frame), image_(image), quant_(quant), reader_(frame, image), out_(out) {}

  std::string Run() {
    const size_t begin = out_.size();
    out_.insert(out_.end(), {0xFF, kSoi});
    PutApplicationHeader();
    PutQuantTables();
    PutFrameHeader();
    PutSegment(out_, kSos, {3, 0, 0x00, 1, 0x11, 2, 0x11, 0, 63, 0});
    PutScan();
    out_.insert(out_.end(), {0xFF, kEoi});
    if (image_.header != HeaderKind::kJfif) Finish(begin);
    const std::optional<size_t> damage = reader_.Damage();
    if (!damage) return {};
    return "damaged entropy-coded data at byte " + std::to_string(*damage);
  }

 private:
  void PutApplicationHeader() {
    if (image_.header == HeaderKind::kJfif) return CopyJfif();
    const auto field_code = static_cast<uint8_t>(image_.field_code.value_or(0));
    PutSegment(out_, kApp0, {'A', 'V', 'I', '1', field_code, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    PutSegment(out_, kDri, {0, 0});
  }

  void CopyJfif() {
    const auto is_jfif = [&](const Segment& s) {
      return s.marker == kApp0 && s.end - s.payload >= 7 && frame_[s.payload] == 'J';
    };
    const Segment& jfif = *std::ranges::find_if(image_.segments, is_jfif);
    out_.insert(out_.end(), frame_.begin() + static_cast<ptrdiff_t>(jfif.offset),
                frame_.begin() + static_cast<ptrdiff_t>(jfif.end));
  }

  void PutQuantTables() {
    Bytes payload;
    for (size_t t = 0; t < 2; ++t) {
      const auto& values = quant_.values[image_.shape[t].quant_table & 3];
      const bool words = *std::ranges::max_element(values) > 255;
      payload.push_back(static_cast<uint8_t>((words ? 0x10 : 0) | t));
      for (const uint16_t value : values) {
        if (words) payload.push_back(static_cast<uint8_t>(value >> 8));
        payload.push_back(static_cast<uint8_t>(value));
      }
    }
    PutSegment(out_, kDqt, payload);
  }

  void PutFrameHeader() {
    const auto low = [](int word) { return static_cast<uint8_t>(word); };
    const int w = image_.width, h = image_.height;
    PutSegment(
        out_, kSof0,
        {8, low(h >> 8), low(h), low(w >> 8), low(w), 3, 0, 0x21, 0, 1, 0x11, 1, 2, 0x11, 1});
  }

  void PutScan() {
    EntropyOutput output;
    output.output_position = out_.size();
    std::vector<McuBlocks> band;
    for (size_t left = (static_cast<size_t>(image_.height) + 7) / 8; left > 0;) {
      reader_.ReadBand(band);
      const size_t rows = std::min(left, reader_.BandRows());
      PutMcus(output, std::span(band).first(rows * reader_.Columns()));
      left -= rows;
    }
    FlushBits(output);
    out_.resize(output.output_position);
  }

  void PutMcus(EntropyOutput& output, std::span<const McuBlocks> mcus) {
    const size_t wanted = output.output_position + mcus.size() * kMostMcuBytes + 16;
    if (out_.size() < wanted) out_.resize(wanted + wanted / 2);
    output.output_start = out_.data();
    output.output_capacity = static_cast<uint32_t>(std::min<size_t>(out_.size(), UINT32_MAX));
    for (const McuBlocks& mcu : mcus) {
      for (size_t b = 0; b < 4; ++b) PutBlock(output, mcu[b], b < 2 ? 0 : b - 1);
    }
  }

  void PutBlock(EntropyOutput& output, const std::array<int16_t, 64>& block, size_t component) {
    const bool luma = component == 0;
    EncodeBlock(output, block.data(), last_dc_[component], luma ? kDcLumaCodes : kDcChromaCodes,
                luma ? kAcLumaCodes : kAcChromaCodes);
    last_dc_[component] = block[0];
  }

  // The fill and the size fields as the encoder has them.
  void Finish(size_t begin) {
    const size_t data_size = out_.size() - begin;
    out_.resize((out_.size() + 15) / 8 * 8, 0xFF);
    uint8_t* fields = &out_[begin + kSizeFieldsOffset];
    for (const size_t size : {out_.size() - begin, data_size}) {
      for (int shift = 24; shift >= 0; shift -= 8) *fields++ = static_cast<uint8_t>(size >> shift);
    }
  }

  std::span<const uint8_t> frame_;
  const ImageAnalysis& image_;
  const QuantTables& quant_;
  CoefficientReader reader_;
  Bytes& out_;
  std::array<int32_t, 3> last_dc_{};
};

// A second image may leave its tables to the first.
void Inherit(QuantTables& quant, const QuantTables& own) {
  for (size_t t = 0; t < 4; ++t) {
    if (!own.defined[t]) continue;
    quant.values[t] = own.values[t];
    quant.defined[t] = true;
  }
}

// Whether the decoder takes it as it is, behind an image that was recoded.
bool CanBeKept(const ImageAnalysis& image) {
  if (!RefusalOf(image).empty()) return true;
  return image.other_shape.empty() && image.quant.defined[0] && image.quant.defined[1];
}

}  // namespace

RecodedFrame RecodeFrame(std::span<const uint8_t> frame, const FrameAnalysis& analysis) {
  RecodedFrame result;
  const auto copy = [&](size_t begin, size_t end) {
    result.stream.insert(result.stream.end(), frame.begin() + static_cast<ptrdiff_t>(begin),
                         frame.begin() + static_cast<ptrdiff_t>(end));
  };
  QuantTables quant;
  for (size_t i = 0; i < std::min(analysis.images.size(), kMostImages); ++i) {
    const ImageAnalysis& image = analysis.images[i];
    Inherit(quant, image.quant);
    if (CanBeKept(image)) {
      copy(image.begin, image.end);
      continue;
    }
    const std::string damage = ImageRecoder(frame, image, quant, result.stream).Run();
    if (result.damage.empty()) result.damage = damage;
  }
  if (analysis.alpha_offset != 0) copy(analysis.alpha_offset, frame.size());
  return result;
}

}  // namespace tkmjpg::tool
