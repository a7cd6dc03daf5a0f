// Frames as other writers store 4:2:2, made from coefficients that this codec's encoder made.
#pragma once

#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "tests/frame_calls.h"
#include "tools/tkmjpg/streams/coefficient_reader.h"

namespace tkmjpg::tool {

using Mcus = std::vector<McuBlocks>;

inline constexpr int kWidth = 41, kHeight = 20;
inline constexpr size_t kColumns = 3, kRows = 3;

inline Bytes Encode(uint32_t flags) {
  const Call call{kBgra, kWidth, kHeight, flags, 85};
  Bytes pixels(call.Size());
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * i / 37 + i % 5);
  return Compress(pixels, call);
}

inline Mcus Coefficients(const Bytes& stream, size_t begin = 0) {
  const ImageAnalysis image = AnalyseImage(stream, begin);
  CoefficientReader reader(stream, image);
  Mcus all(reader.Rows() * reader.Columns());
  for (size_t row = 0; row < reader.Rows(); ++row) {
    reader.ReadRow(row, std::span(all).subspan(row * reader.Columns(), reader.Columns()));
  }
  return all;
}

// The standard values with codes of one length.
template <int N>
HuffmanSpec<N> Flat(HuffmanSpec<N> huffman, size_t length) {
  huffman.counts = {};
  huffman.counts[length - 1] = N;
  std::reverse(huffman.values.begin(), huffman.values.end());
  return huffman;
}

struct Shape {
  const char* name;
  uint8_t h, v;  // of chroma
  bool own_tables;
  std::array<uint8_t, 3> quant;
  uint8_t interval;
};

struct Codes {
  HuffmanCodeTable dc, ac;
};
inline const auto kOwnDcLuma = Flat(kDcLumaSpec, 4), kOwnDcChroma = Flat(kDcChromaSpec, 11);
inline const auto kOwnAcLuma = Flat(kAcLumaSpec, 8), kOwnAcChroma = Flat(kAcChromaSpec, 12);

template <int N>
Bytes Dht(uint8_t id, const HuffmanSpec<N>& huffman) {
  return Bytes{0xFF, kDht, 0, 19 + N, id} + Bytes(huffman.counts.begin(), huffman.counts.end()) +
         Bytes(huffman.values.begin(), huffman.values.end());
}

// The scan of one image in another shape.
class ScanWriter {
 public:
  ScanWriter(const Shape& shape, const Mcus& mcus) : shape_(shape), mcus_(mcus) {}

  Bytes Run() {
    Bytes capacity(1 << 16);
    output_ = {capacity.data(), 1 << 16};
    uint32_t count = 0;
    for (size_t y = 0; y < mcus_.size() / kColumns; y += shape_.v) {
      for (size_t x = 0; x < kColumns; x += shape_.h, ++count) {
        if (shape_.interval != 0 && count != 0 && count % shape_.interval == 0) {
          FlushBits(output_);
          PutByte(output_, 0xFF);
          PutByte(output_, kRst0 + (count / shape_.interval - 1) % 8);
          last_dc_ = {};
        }
        for (size_t c = 0; c < 3; ++c) PutComponent(c, x, y);
      }
    }
    FlushBits(output_);
    return Head(capacity, output_.output_position);
  }

 private:
  // Blocks outside the image have coefficients too.
  void PutComponent(size_t c, size_t column, size_t row) {
    const size_t per_mcu = c == 0 ? 2 : 1;
    for (size_t y = row; y < row + shape_.v; ++y) {
      for (size_t x = column * per_mcu; x < (column + shape_.h) * per_mcu; ++x) {
        const bool inside = x / per_mcu < kColumns && y * kColumns < mcus_.size();
        const McuBlocks& mcu = mcus_[inside ? y * kColumns + x / per_mcu : 0];
        const auto& block = mcu[c == 0 ? x % 2 : c + 1];
        const Codes& codes = (shape_.own_tables ? own_ : standard_)[c == 0 ? 0 : 1];
        EncodeBlock(output_, block.data(), last_dc_[c], codes.dc, codes.ac);
        last_dc_[c] = block[0];
      }
    }
  }

  const Shape& shape_;
  const Mcus& mcus_;
  const Codes standard_[2] = {{kDcLumaCodes, kAcLumaCodes}, {kDcChromaCodes, kAcChromaCodes}};
  const Codes own_[2] = {{MakeCodeTable(kOwnDcLuma), MakeCodeTable(kOwnAcLuma)},
                         {MakeCodeTable(kOwnDcChroma), MakeCodeTable(kOwnAcChroma)}};
  EntropyOutput output_;
  std::array<int32_t, 3> last_dc_{};
};

inline Bytes Reshape(const Bytes& source, const ImageAnalysis& image, const Shape& shape) {
  const auto segment = [&](uint8_t marker) {
    const Segment& found = *std::ranges::find(image.segments, marker, &Segment::marker);
    return Slice(source, found.offset, found.end);
  };
  const auto luma = static_cast<uint8_t>(shape.h << 5 | shape.v);
  const auto chroma = static_cast<uint8_t>(shape.h << 4 | shape.v);
  const auto& [y, cb, cr] = shape.quant;
  const Bytes dqt = segment(kDqt);
  Bytes out = Bytes{0xFF, kSoi} + segment(kApp0);
  for (size_t c = 0; c < 3; ++c) {
    const size_t values = c == 0 ? 5 : 70;
    out = out + Bytes{0xFF, kDqt, 0, 67, shape.quant[c]} + Slice(dqt, values, values + 64);
  }
  out = out + Set(segment(kSof0), 10, {0, luma, y, 1, chroma, cb, 2, chroma, cr});
  if (shape.own_tables) {
    out = out + Dht(0x00, kOwnDcLuma) + Dht(0x10, kOwnAcLuma) + Dht(0x01, kOwnDcChroma) +
          Dht(0x11, kOwnAcChroma);
  }
  return out + Bytes{0xFF, kDri, 0, 4, 0, shape.interval} +
         Set(segment(kSos), 5, {0, 0x00, 1, 0x11, 2, 0x11}) +
         ScanWriter(shape, Coefficients(source, image.begin)).Run() + Bytes{0xFF, kEoi};
}

// All images of a frame in another shape, and what follows them.
inline Bytes Reshape(const Bytes& source, const Shape& shape) {
  const FrameAnalysis frame = AnalyseFrame(source);
  Bytes out;
  for (const ImageAnalysis& image : frame.images) out = out + Reshape(source, image, shape);
  return out + Slice(source, frame.images.back().end, source.size());
}

}  // namespace tkmjpg::tool
