// The rows of MCUs of every instruction set that can run here, and of plain C++, against the
// definition.
#include "decoder/bytes_to_bits.h"
#include "decoder/mcu_row.h"
#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "encoder/mcu_row.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

enum class Spectrum { kDcOnly, kSparse, kSmall, kLong, kWild, kLow, kFlat };

struct RowCase {
  PixelCode code;
  Spectrum spectrum;
  int width, lines;  // up to 16 lines: two bands
  uint32_t seed, restart_interval = 0;
};

// The entropy-coded data of two bands, and what their coefficients are multiplied by.
struct CodedBands {
  Bytes data;
  std::array<QuantValues, 2> dequant{};
};

void FillBlock(std::array<int16_t, 64>& block, Spectrum spectrum, std::mt19937& random) {
  const auto within = [&](int limit) {
    return static_cast<int16_t>(static_cast<int>(random() % (2U * limit + 1)) - limit);
  };
  block = {};
  block[0] = spectrum == Spectrum::kFlat ? static_cast<int16_t>(8 * (random() % 256) - 1024)
                                         : within(spectrum == Spectrum::kWild ? 1023 : 300);
  for (int k = 1; k < 64; ++k) {
    const uint32_t chance = random() % 64;
    if (spectrum == Spectrum::kSparse && chance < 5) block[k] = within(40);
    if (spectrum == Spectrum::kSmall) block[k] = within(6);
    if (spectrum == Spectrum::kLong && chance < 3) block[k] = within(1023);
    // Some blocks end just before and after the first coefficient of frequency 4.
    if (spectrum == Spectrum::kLow && k < 12 && chance < 16)
      block[k] = within(chance < 2 ? 1023 : 3);
    if (spectrum == Spectrum::kWild) block[k] = within(1 << chance % 10);
  }
}

CodedBands MakeBands(const RowCase& c) {
  std::mt19937 random(c.seed);
  CodedBands bands;
  bands.data.resize(1 << 17);
  EncoderContext context;
  context.output = {bands.data.data(), 1 << 17};
  context.restart_interval = context.restarts_to_go = c.restart_interval;
  std::array<int16_t, 64> block;
  for (int mcu = 0; mcu < 2 * ((c.width + 15) / 16); ++mcu) {
    if (c.restart_interval != 0 && context.restarts_to_go-- == 0) {
      WriteRestart(context);
      --context.restarts_to_go;
    }
    for (const int component : {0, 0, 1, 2}) {
      FillBlock(block, c.spectrum, random);
      EncodeBlock(context.output, block.data(), context.last_dc[component],
                  component == 0 ? kDcLumaCodes : kDcChromaCodes,
                  component == 0 ? kAcLumaCodes : kAcChromaCodes);
      context.last_dc[component] = block[0];
    }
  }
  FlushBits(context.output);
  bands.data =
      Head(bands.data, static_cast<size_t>(context.output.output_position)) + Bytes{0xFF, 0xD9};
  for (QuantValues& table : bands.dequant) {
    // 16 x the quantisation values; wild ones make all products wrap.
    const bool wild = c.spectrum == Spectrum::kWild || c.spectrum == Spectrum::kLow;
    const uint32_t limit = wild ? 256 : 40;
    for (uint16_t& value : table) value = static_cast<uint16_t>(random() % limit * 16);
    if (c.spectrum == Spectrum::kFlat) table.fill(16);
  }
  return bands;
}

struct Decoded {
  Bytes pixels;  // with guard bytes on both sides of each line
  std::array<int32_t, 3> last_dc{};
  bool whole = true;

  bool operator==(const Decoded&) const = default;
};

DecoderContext MakeContext(const RowCase& c, const CodedBands& bands, const GuardedBuffer& data) {
  DecoderContext context;
  context.input = {data.data() + data.size(), data.data()};
  context.header.scan_components = 3;
  context.dequant = bands.dequant;
  context.pixel_format = c.code;
  context.width = c.width;
  context.height = c.lines;
  context.mcus_per_row = static_cast<uint32_t>(c.width + 15) / 16;
  context.restart_interval = context.restarts_to_go = c.restart_interval;
  return context;
}

template <typename DecodeRow>
Decoded DecodeBands(const RowCase& c, DecoderContext& context, const DecodeRow& decode_row) {
  constexpr size_t kMargin = 40;
  const size_t line_bytes = c.width * BytesPerPixel(c.code) + 2 * kMargin;
  Decoded decoded = {Bytes(16 * line_bytes, 0xA5)};
  for (int top = 0; top < c.lines; top += 8) {
    BandRows band;
    band.count = std::min(8, c.lines - top);
    for (int r = 0; r < band.count; ++r) {
      band.rows[r] = &decoded.pixels[(top + r) * line_bytes + kMargin];
    }
    decoded.whole = decoded.whole && decode_row(band);
  }
  decoded.last_dc = context.last_dc;
  return decoded;
}

void CheckBands(CpuRung rung, const RowCase& c) {
  const CodedBands bands = MakeBands(c);
  const GuardedBuffer data(bands.data);
  DecoderContext plain = MakeContext(c, bands, data), fast = plain;
  BitReader bits;
  const Decoded wanted =
      DecodeBands(c, plain, [&](const BandRows& band) { return DecodeMcuRow(plain, bits, band); });
  FastReader reader(fast);
  reader.dc_reach.fill(1 << 15);  // no sums are too wild for the arithmetic
  const FastRowDecoder decode_row = FastRowDecoderOf(rung, c.code);
  const Decoded got =
      DecodeBands(c, fast, [&](const BandRows& band) { return decode_row(fast, reader, band); });
  ASSERT_TRUE(wanted.whole);
  ASSERT_TRUE(got == wanted && FinishFastImage(fast, reader))
      << "layout " << static_cast<uint32_t>(c.code) << ", spectrum " << static_cast<int>(c.spectrum)
      << ", width " << c.width << ", lines " << c.lines << ", seed " << c.seed << ", restarts "
      << c.restart_interval;
}

TEST(DecoderKernels, RowsOfAllLayouts) {
  ForEachRung([](CpuRung rung) {
    EXPECT_EQ(FastRowDecoderOf(rung, PixelCode::kVyuy), nullptr);
    for (const Layout& layout : kOutputLayouts) {
      for (uint32_t i = 0; i < 60; ++i) {
        const int width = 1 + static_cast<int>(i * 7 % 81);
        CheckBands(rung, {layout.code, static_cast<Spectrum>(i % 6), width, 1 + int(i % 16), i,
                          i % 3 == 0 ? i % 4 : 0});
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  });
}

// Long rows, so that the buffer of bytes is filled many times; and blocks of one colour, for many
// pairs of luma and chroma.
TEST(DecoderKernels, LongRowsAndAllColours) {
  const RowCase cases[] = {{PixelCode::kYuyv, Spectrum::kWild, 960, 16, 1},
                           {PixelCode::kBgr24, Spectrum::kWild, 641, 16, 2},
                           {PixelCode::kBgra32, Spectrum::kLong, 960, 9, 3, 7},
                           {PixelCode::kUyvyFull, Spectrum::kSmall, 960, 16, 4},
                           {PixelCode::kYuyvFull, Spectrum::kLow, 960, 16, 9},
                           {PixelCode::kYuyvFull, Spectrum::kDcOnly, 960, 16, 10},
                           {PixelCode::kBgr24, Spectrum::kFlat, 16000, 16, 5},
                           {PixelCode::kBgr24Full, Spectrum::kFlat, 16000, 16, 6},
                           {PixelCode::kBgrx32, Spectrum::kFlat, 16000, 16, 7},
                           {PixelCode::kRgb565, Spectrum::kFlat, 16000, 16, 8}};
  ForEachRung([&](CpuRung rung) {
    for (const RowCase& c : cases) CheckBands(rung, c);
  });
}

using Staged = std::tuple<Bytes, ptrdiff_t, uint32_t>;  // what is moved, read, and the marker

// Byte by byte: a 0xFF stands for itself before a 0, and before anything else begins a marker.
Staged StageByteByByte(const Bytes& data, size_t capacity) {
  Bytes moved;
  size_t at = 0;
  while (moved.size() < capacity && at < data.size()) {
    const uint8_t byte = data[at++];
    if (byte == 0xFF) {
      if (at == data.size()) break;
      const uint8_t next = data[at++];
      if (next != 0) return {moved, static_cast<ptrdiff_t>(at), next};
    }
    moved.push_back(byte);
  }
  return {moved, static_cast<ptrdiff_t>(at), 0};
}

void CheckStaging(const Bytes& bytes) {
  const GuardedBuffer data(bytes);
  for (const int capacity : {0, 1, 7, 8, 9, 31, 33, 64, 130, 400}) {
    const GuardedBuffer output(capacity);
    EntropyInput input{data.data() + data.size(), data.data(), 0};
    const int moved = StageBytes(input, output.data(), capacity);
    const Staged got = {Head(output.Bytes(), moved), input.read_pos - data.data(),
                        input.pending_marker};
    ASSERT_TRUE(got == StageByteByByte(bytes, capacity))
        << "capacity " << capacity << ", bytes " << bytes.size();
  }
}

TEST(DecoderKernels, StageBytes) {
  for (size_t at = 0; at < 40; ++at) {
    Bytes bytes = Noise(200, static_cast<uint32_t>(at));
    std::replace(bytes.begin(), bytes.end(), uint8_t{0xFF}, uint8_t{0x0F});
    CheckStaging(Head(bytes, at));
    CheckStaging(Head(bytes, at) + Bytes{0xFF});
    for (const uint8_t next : Bytes{0x00, 0xD3, 0xFF, 0x01}) {
      CheckStaging(Head(Set(bytes + Bytes{0}, at, {0xFF, next}), 200));
    }
  }
  // Clusters: 0xFF and 0 by chance, with and without an end at any length.
  for (uint32_t i = 0; i < 300; ++i) {
    Bytes bytes = Noise(i, i);
    for (size_t k = 0; k + 1 < bytes.size(); ++k) {
      if (bytes[k] < 40 || bytes[k] == 255) bytes[k] = 0xFF, bytes[k + 1] = 0;
    }
    CheckStaging(bytes);
    if (i > 70) bytes[i - 1 - i % 70] = 0xFF;
    CheckStaging(bytes);
  }
}

}  // namespace
