// The decoder's steps: the transform at its limits, and every code of the Huffman tables.
#include <gtest/gtest.h>

#include <map>

#include "decoder/bits_to_coefficients.h"
#include "decoder/inverse_dct.h"
#include "encoder/coefficients_to_bits.h"
#include "tests/bytes.h"

namespace {

using namespace tkmjpg;

TEST(InverseDct, FlatBlocks) {
  // The dequantised value is dc x dequant / 16; from 1024 on it saturates, at 2048 it wraps.
  const struct {
    int16_t dc;
    uint16_t dequant;
    uint8_t sample;
  } cases[] = {{0, 4080, 128},  {77, 0, 128},   {10, 256, 148},  {-1024, 16, 0},
               {3, 16, 128},    {4, 16, 129},   {1016, 16, 255}, {1024, 16, 255},
               {2047, 16, 255}, {-2047, 16, 0}, {2048, 16, 0},   {4096, 16, 128}};
  for (const auto& c : cases) {
    const int16_t words[64] = {c.dc};
    std::array<uint16_t, 64> dequant;
    dequant.fill(c.dequant);
    Bytes samples(64);
    InverseTransformBlock(samples.data(), words, dequant.data());
    EXPECT_EQ(samples, Bytes(64, c.sample)) << c.dc << " by " << c.dequant;
  }
}

// A decoder that takes one bit after the other: ITU T.81 F.2.2, and this codec's rules for what
// that leaves open.
class BitByBit {
 public:
  explicit BitByBit(bool luma) : invalid_dc_bits_(luma ? 4 : 6) {
    Collect(luma ? kDcLumaSpec : kDcChromaSpec, kDc);
    Collect(luma ? kAcLumaSpec : kAcChromaSpec, kAc);
  }

  void Start(const Bytes& bits) {
    bits_ = bits;
    at_ = 0;
  }

  std::array<int16_t, 64> Block(int prediction) {
    std::array<int16_t, 64> block{};
    const int dc_size = Code(kDc).first;
    block[0] = static_cast<int16_t>(prediction + (dc_size > 0 ? Amplitude(dc_size) : 0));
    for (int k = 0; k < 63;) {
      const auto [symbol, length] = Code(kAc);
      if (symbol <= 0) break;  // EOB, or invalid
      const int size = symbol & 15;
      k += (symbol >> 4) + 1;
      if (k > 63) {
        // The amplitude of a run that is too long is used up with short codes only.
        if (length + size <= (length <= 8 ? 8 : length <= 12 ? 12 : 16)) Take(size);
        break;
      }
      // The decoder keeps its blocks transposed: 8 x column + row.
      const int at = kZigZag[k] % 8 * 8 + kZigZag[k] / 8;
      if (size != 0) block[at] = static_cast<int16_t>(Amplitude(size));
    }
    return block;
  }

 private:
  enum Kind { kDc, kAc };

  template <int N>
  void Collect(const HuffmanSpec<N>& huffman, Kind kind) {
    ForEachHuffmanCode(huffman, [&](uint32_t code, uint32_t length, uint8_t value) {
      codes_[kind][{length, code}] = value;
    });
  }
  uint32_t Take(int count) {
    uint32_t value = 0;
    for (; count > 0; --count, ++at_) value = value << 1 | (at_ < bits_.size() ? bits_[at_] : 1U);
    return value;
  }
  // The code's value and length; -1 when the bits are none.
  std::pair<int, int> Code(Kind kind) {
    const size_t start = at_;
    uint32_t code = 0;
    for (uint32_t length = 1; length <= 16; ++length) {
      code = code << 1 | Take(1);
      const auto found = codes_[kind].find({length, code});
      if (found != codes_[kind].end()) return {found->second, static_cast<int>(length)};
    }
    at_ = start + (kind == kDc ? invalid_dc_bits_ : 9);
    return {-1, 0};
  }
  int Amplitude(int size) {
    const int value = static_cast<int>(Take(size));
    return value >= 1 << (size - 1) ? value : value - (1 << size) + 1;
  }

  int invalid_dc_bits_;                                    // what an invalid code uses up
  std::map<std::pair<uint32_t, uint32_t>, int> codes_[2];  // by length and code
  Bytes bits_;
  size_t at_ = 0;
};

// The low `count` bits of `value`, the highest first.
Bytes Bits(uint32_t value, int count) {
  Bytes bits;
  for (int bit = count - 1; bit >= 0; --bit) bits.push_back(value >> bit & 1);
  return bits;
}
Bytes CodeBits(uint32_t entry) { return Bits(entry >> 8, entry & 0xFF); }

// Whole bytes of entropy-coded data.
Bytes Packed(const Bytes& bits) {
  Bytes bytes;
  for (size_t i = 0; i < bits.size(); i += 8) {
    uint8_t byte = 0;
    for (size_t k = 0; k < 8; ++k) byte = static_cast<uint8_t>(byte << 1 | bits[i + k]);
    bytes.push_back(byte);
    if (byte == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

// Every sixteen bits where a DC code stands, where the first AC code stands, and where runs soon
// leave the block. The second block shows that the first one took the right number of bits.
void ExpectEveryWindow(bool luma) {
  BitByBit model(luma);
  const HuffmanCodeTable& ac = luma ? kAcLumaCodes : kAcChromaCodes;
  const Bytes dc = CodeBits((luma ? kDcLumaCodes : kDcChromaCodes)[0]), zeros = CodeBits(ac[0xF0]);
  const Bytes position_60 = dc + zeros + zeros + zeros + CodeBits(ac[0xB1]) + Bytes{1};
  Bytes tail = Noise(100, luma ? 1 : 2);
  for (uint8_t& bit : tail) bit &= 1;
  for (const Bytes& lead : {Bytes(), dc, position_60}) {
    for (uint32_t window = 0; window < 0x10000; ++window) {
      Bytes bits = lead + Bits(window, 16) + tail;
      bits.resize(bits.size() / 8 * 8);
      const Bytes data = Packed(bits);
      model.Start(bits + Bytes(8, 0));  // one 0 byte ends the data, and then 1 bits
      EntropyInput input{data.data() + data.size(), data.data()};
      BitReader reader;
      for (int i = 0; i < 2; ++i) {
        std::array<int16_t, 64> block{};
        RefillBits(reader, input);
        DecodeBlock(reader, block.data(), 100, luma ? kDcLumaLookup : kDcChromaLookup,
                    luma ? kAcLumaLookup : kAcChromaLookup);
        ASSERT_EQ(block, model.Block(100))
            << "window " << window << " after " << lead.size() << " bits, block " << i;
      }
    }
  }
}

TEST(HuffmanDecoder, EveryLumaWindow) { ExpectEveryWindow(true); }
TEST(HuffmanDecoder, EveryChromaWindow) { ExpectEveryWindow(false); }

}  // namespace
