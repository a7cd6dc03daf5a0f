// The decoder's steps: transform, colours, every code of the Huffman tables, and restarts.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "decoder/huffman_decoder.h"
#include "decoder/inverse_dct.h"
#include "decoder/output_conversion.h"
#include "encoder/huffman_coder.h"
#include "tests/frame_calls.h"

namespace {

using namespace tkmjpg;
using Samples = std::array<uint8_t, 64>;

// Where the decoder keeps zig-zag position k: 8 x column + row.
int Transposed(int k) { return kZigZag[k] % 8 * 8 + kZigZag[k] / 8; }

Samples Inverse(const std::map<int, int>& block, const std::array<uint16_t, 64>& dequant) {
  int16_t words[64] = {};
  for (const auto& [n, value] : block) words[n] = static_cast<int16_t>(value);
  Samples samples;
  InverseTransformBlock(samples.data(), words, dequant.data());
  return samples;
}

std::array<uint16_t, 64> AllOf(int value) {
  std::array<uint16_t, 64> dequant;
  dequant.fill(static_cast<uint16_t>(value));
  return dequant;
}

TEST(InverseDct, FlatBlocks) {
  struct Case {
    int dc, dequant, sample;
  };
  // The dequantised value is dc x dequant / 16; from 1024 on it saturates, at 2048 it wraps.
  const Case cases[] = {{0, 4080, 128},  {77, 0, 128},   {10, 256, 148},  {-1024, 16, 0},
                        {3, 16, 128},    {4, 16, 129},   {1016, 16, 255}, {1024, 16, 255},
                        {2047, 16, 255}, {-2047, 16, 0}, {2048, 16, 0},   {4096, 16, 128}};
  for (const Case& c : cases) {
    Samples flat;
    flat.fill(static_cast<uint8_t>(c.sample));
    EXPECT_EQ(Inverse({{0, c.dc}}, AllOf(c.dequant)), flat) << c.dc << " by " << c.dequant;
  }
}

TEST(InverseDct, OrientationAndSlope) {
  const uint8_t wave[8] = {163, 157, 148, 135, 121, 108, 99, 93};
  const Samples across = Inverse({{8, 50}}, AllOf(64)), down = Inverse({{1, 50}}, AllOf(64));
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(across[i], wave[i % 8]);
    EXPECT_EQ(down[i], wave[i / 8]);
  }
  std::map<int, int> fine;
  const std::pair<int, int> coefficients[] = {{0, -176}, {1, -146}, {2, -73}, {6, -15},
                                              {9, -8},   {15, -5},  {20, -2}, {28, -1}};
  for (const auto& [k, value] : coefficients) fine[Transposed(k)] = value;
  auto twos = AllOf(32);
  twos[63] = 48;
  Samples slope;
  for (int i = 0; i < 64; ++i) slope[i] = static_cast<uint8_t>(16 * (i % 8) + 8 * (i / 8));
  slope[20] = 81;  // the transform is one off at these three
  slope[21] = 97;
  slope[42] = 71;
  EXPECT_EQ(Inverse(fine, twos), slope);
}

// Limits of every kind of arithmetic; the other layouts only order the same bytes.
TEST(OutputConversion, EdgeColours) {
  struct Case {
    McuConverter convert;
    uint8_t y, cb, cr;
    Bytes pixels;  // one, or the two of a pair
  };
  const Case cases[] = {{ConvertMcuToBgr24, 16, 128, 128, {0, 0, 0}},
                        {ConvertMcuToBgr24, 235, 128, 128, {255, 255, 255}},
                        {ConvertMcuToBgr24, 0, 0, 0, {0, 136, 0}},
                        {ConvertMcuToBgr24, 255, 255, 255, {255, 125, 255}},
                        {ConvertMcuToBgr24, 81, 90, 240, {0, 0, 254}},
                        {ConvertMcuToBgr24Full, 81, 90, 240, {4, 5, 255}},
                        {ConvertMcuToBgr24Full, 255, 255, 255, {255, 102, 255}},
                        {ConvertMcuToBgrx32, 81, 90, 240, {0, 0, 254, 0}},
                        {ConvertMcuToBgra32, 81, 90, 240, {0, 0, 254, 255}},
                        {ConvertMcuToRgb565, 81, 90, 240, {0x82, 0xF0}},
                        {ConvertMcuToRgb565, 235, 128, 128, {0x7D, 0xEF}},
                        {ConvertMcuToRgb555, 255, 255, 255, {0xFF, 0x7D}},
                        {ConvertMcuToYuyv, 0, 1, 2, {16, 1, 16, 2}},
                        {ConvertMcuToUyvy, 255, 1, 2, {1, 235, 2, 235}},
                        {ConvertMcuToYuyvFull, 255, 1, 2, {255, 1, 255, 2}}};
  for (const Case& c : cases) {
    uint8_t blocks[kMcuBlockBytes];
    for (int i = 0; i < kMcuBlockBytes; ++i) blocks[i] = i < 128 ? c.y : i < 192 ? c.cb : c.cr;
    Bytes lines(8 * 64, 0xA5);
    uint8_t* rows[8];
    for (int r = 0; r < 8; ++r) rows[r] = &lines[r * 64];
    c.convert(rows, blocks, 5);
    for (size_t i = 0; i < lines.size(); ++i) {
      const bool written = i / 64 < 5 && i % 64 < static_cast<size_t>(rows[0] - lines.data());
      ASSERT_EQ(lines[i], written ? c.pixels[i % 64 % c.pixels.size()] : 0xA5)
          << "row " << &c - cases << ", byte " << i;
    }
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
      if (size != 0) block[Transposed(k)] = static_cast<int16_t>(Amplitude(size));
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
    at_ = start + static_cast<size_t>(kind == kDc ? invalid_dc_bits_ : 9);
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

// The one place that knows how blocks are asked for.
class BlockReader {
 public:
  BlockReader(const Bytes& data, bool luma)
      : luma_(luma), input_{data.data() + data.size(), data.data()} {}
  std::array<int16_t, 64> Block(int prediction) {
    std::array<int16_t, 64> block{};
    RefillBits(reader_, input_);
    DecodeBlock(reader_, block.data(), prediction, luma_ ? kDcLumaLookup : kDcChromaLookup,
                luma_ ? kAcLumaLookup : kAcChromaLookup);
    return block;
  }

 private:
  bool luma_;
  EntropyInput input_;
  BitReader reader_;
};

Bytes Stuffed(const Bytes& data) {
  Bytes stuffed;
  for (const uint8_t byte : data) {
    stuffed.push_back(byte);
    if (byte == 0xFF) stuffed.push_back(0);
  }
  return stuffed;
}

// A code of the encoder's table, with `extra` amplitude bits that are all 1.
void Append(Bytes& bits, uint32_t entry, int extra) {
  for (int bit = static_cast<int>(entry & 0xFF) - 1; bit >= 0; --bit) {
    bits.push_back(entry >> (8 + bit) & 1);
  }
  bits.insert(bits.end(), static_cast<size_t>(extra), uint8_t{1});
}

Bytes Packed(const Bytes& bits) {
  Bytes bytes(bits.size() / 8);
  for (size_t i = 0; i < bytes.size() * 8; ++i) {
    bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] << 1 | bits[i]);
  }
  return bytes;
}

// Every sixteen bits where a DC code stands, where the first AC code stands, and where runs soon
// leave the block. The second block shows that the first one took the right number of bits.
void ExpectEveryWindow(bool luma) {
  BitByBit model(luma);
  const HuffmanCodeTable& ac = luma ? kAcLumaCodes : kAcChromaCodes;
  Bytes leads[3];
  Append(leads[1], luma ? kDcLumaCodes[0] : kDcChromaCodes[0], 0);
  leads[2] = leads[1];
  for (int i = 0; i < 3; ++i) Append(leads[2], ac[0xF0], 0);
  Append(leads[2], ac[0xB1], 1);  // position 60
  const Bytes tail = Noise(100, luma ? 1 : 2);
  for (const Bytes& lead : leads) {
    for (uint32_t window = 0; window < 0x10000; ++window) {
      Bytes bits = lead;
      Append(bits, window << 8 | 16, 0);
      for (const uint8_t byte : tail) bits.push_back(byte & 1);
      bits.resize(bits.size() / 8 * 8);
      const Bytes data = Stuffed(Packed(bits));
      bits.insert(bits.end(), 8, uint8_t{0});  // one 0 byte ends the data, and then 1 bits
      model.Start(bits);
      BlockReader reader(data, luma);
      for (int block = 0; block < 2; ++block) {
        ASSERT_EQ(reader.Block(100), model.Block(100))
            << "window " << window << " behind " << lead.size() << " bits, block " << block;
      }
    }
  }
}

TEST(HuffmanDecoder, EveryLumaWindow) { ExpectEveryWindow(true); }
TEST(HuffmanDecoder, EveryChromaWindow) { ExpectEveryWindow(false); }

const Layout kYuYv = {"YuYv", TKMJPG_YuYv, 2};
constexpr uint32_t kBare = 5U << TKMJPG_C_MODE_SHIFT;  // nothing behind EOI

// Random pictures of one MCU, and the entropy-coded data of each.
struct Mcu {
  Bytes headers, data, pixels;  // pixels: what it decodes to
};
Mcu MakeMcu(uint32_t seed) {
  const Bytes stream = Compress(Noise(16 * 8 * 2, seed), {kYuYv, 16, 8, kBare, 60});
  const auto start = stream.begin() + static_cast<int>(EntropyStart(stream));
  return {{stream.begin(), start},
          {start, stream.end() - 2},
          Decompress(stream, {kYuYv, 16, 8}, Bytes(16 * 8 * 2))};
}

TEST(Restarts, MarkersAndDamage) {
  constexpr int kMcus = 11;  // past RST7
  struct Case {              // what is done to the interval that ends with RST4
    const char* name;
    int kept;  // bytes of its data
    Bytes more;
    uint8_t marker;
    int wrong;    // the MCU that may hold anything
    int written;  // MCUs that are written at all
  };
  const Case cases[] = {
      {"sound", 999, {}, 0xD4, -1, kMcus},
      {"bytes ahead of a marker", 999, {1, 2, 3, 0xFF, 0, 4}, 0xD4, -1, kMcus},
      {"an interval cut short", 9, {}, 0xD4, 4, kMcus},
      {"an interval lost but for its marker", 0, {}, 0xD4, 4, kMcus},
      {"wrong number", 999, {}, 0xD5, -1, 5},
      {"no RST", 999, {}, 0xD9, -1, 5},
      {"FF for a marker", 999, {}, 0xFF, -1, 5},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes stream = WithRestartInterval(MakeMcu(0).headers, 1);
    stream[FindMarker(stream, 0xC0) + 8] = kMcus * 16;
    for (int i = 0; i < kMcus; ++i) {
      Bytes data = MakeMcu(static_cast<uint32_t>(i)).data;
      auto marker = static_cast<uint8_t>(i + 1 == kMcus ? 0xD9 : 0xD0 + i % 8);
      if (i == 4) {
        marker = c.marker;
        data.resize(std::min(data.size(), static_cast<size_t>(c.kept)));
        data.insert(data.end(), c.more.begin(), c.more.end());
      }
      stream.insert(stream.end(), data.begin(), data.end());
      stream.insert(stream.end(), {0xFF, marker});
    }
    const Bytes pixels =
        Decompress(stream, {kYuYv, kMcus * 16, 8}, Bytes(kMcus * 16 * 8 * 2, 0xA5));
    for (int i = 0; i < kMcus; ++i) {
      if (i == c.wrong) continue;
      const Mcu mcu = MakeMcu(static_cast<uint32_t>(i));
      for (int row = 0; row < 8; ++row) {
        const auto at = pixels.begin() + (row * kMcus + i) * 32;
        const Bytes wanted =
            i < c.written ? Bytes(mcu.pixels.begin() + row * 32, mcu.pixels.begin() + row * 32 + 32)
                          : Bytes(32, 0xA5);
        ASSERT_EQ(Bytes(at, at + 32), wanted) << "MCU " << i << " row " << row;
      }
    }
  }
}

}  // namespace
