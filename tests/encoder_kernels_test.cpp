// The rows of MCUs of every instruction set that can run here, against the plain ones.
#include <memory>

#include "encoder/forward_dct.h"
#include "encoder/mcu_row.h"
#include "encoder/quant_tables.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

enum class Content { kLow, kHigh, kUniform, kNoise, kReal };
constexpr Content kContents[] = {Content::kLow, Content::kHigh, Content::kUniform, Content::kNoise,
                                 Content::kReal};

// Lines of bytes. Real: slopes, with an edge across them and a little grain.
Bytes MakeBytes(Content content, size_t line_bytes, size_t lines, uint32_t seed) {
  if (content == Content::kLow) return Bytes(line_bytes * lines, 0);
  if (content == Content::kHigh) return Bytes(line_bytes * lines, 255);
  if (content == Content::kUniform) {
    return Bytes(line_bytes * lines, static_cast<uint8_t>(seed * 37));
  }
  Bytes bytes = Noise(line_bytes * lines, seed);
  for (size_t i = 0; content == Content::kReal && i < bytes.size(); ++i) {
    const size_t x = i % line_bytes, y = i / line_bytes;
    bytes[i] = static_cast<uint8_t>((x + 3 * y + seed) / 2 % 160 + (x > 5 * y + seed % 40) * 64 +
                                    bytes[i] % 4);
  }
  return bytes;
}

EncoderContext MakeEncoderContext(int quality) {
  EncoderContext context;
  BuildQuantTablesFromQuality(context, quality);
  for (int t = 0; t < 2; ++t) BuildQuantiser(context.quant_tables[t], context.quantisers[t]);
  return context;
}

struct RowCase {
  PixelCode code;
  int width;
  Content content;
  int quality;
  uint32_t bit_count;  // pending at the start
  uint32_t restart_interval = 0;
};

constexpr uint64_t kRowStart = 5;  // bytes of the output that are taken already

// What a row encoder leaves.
struct RowResult {
  Bytes bytes;  // what the output's capacity holds of the stream
  uint64_t position = 0;
  uint32_t bits = 0, bit_count = 0;
  std::array<int32_t, 3> last_dc{};

  bool operator==(const RowResult&) const = default;
};

// Each line lies in memory of its own, with a guard page after or before it.
using Lines = std::vector<std::unique_ptr<GuardedBuffer>>;

Lines MakeLines(const RowCase& c, GuardAt guard) {
  const size_t line = size_t(c.width) * BytesPerPixel(c.code);
  const Bytes picture = MakeBytes(c.content, line, 8, static_cast<uint32_t>(c.width));
  Lines lines;
  for (size_t at = 0; at < picture.size(); at += line) {
    lines.push_back(std::make_unique<GuardedBuffer>(Slice(picture, at, at + line), guard));
  }
  return lines;
}

RowResult EncodeRow(McuRowEncoder encode_row, const RowCase& c, const Lines& lines,
                    uint32_t capacity) {
  const GuardedBuffer output(capacity);
  EncoderContext context = MakeEncoderContext(c.quality);
  context.pixel_format = c.code;
  context.width = c.width;
  context.height = 8;
  context.mcus_per_row = static_cast<uint32_t>(c.width + 15) / 16;
  context.restart_interval = context.restarts_to_go = c.restart_interval;
  context.last_dc = {17, -900, 4};
  context.output = {output.data(), capacity, kRowStart, 0x55 & ((1U << c.bit_count) - 1),
                    c.bit_count};
  std::array<const uint8_t*, 8> rows;
  for (size_t r = 0; r < 8; ++r) rows[r] = lines[r]->data();
  encode_row(context, rows);
  const EntropyOutput& end = context.output;
  const auto stored = static_cast<size_t>(std::min<uint64_t>(end.output_position, capacity));
  return {Head(output.Bytes(), stored), end.output_position,
          end.bit_accumulator & ((1U << end.bit_count) - 1), end.bit_count, context.last_dc};
}

// The same row with ample capacity, with just enough, and with half of it.
void CheckRow(CpuRung rung, const RowCase& c) {
  for (const GuardAt guard : {GuardAt::kEnd, GuardAt::kStart}) {
    const Lines lines = MakeLines(c, guard);
    const auto exact = static_cast<uint32_t>(EncodeRow(EncodeMcuRow, c, lines, 1 << 15).position);
    for (const uint32_t capacity : {1U << 15, exact, exact / 2}) {
      const RowResult got = EncodeRow(McuRowEncoderOf(rung), c, lines, capacity);
      ASSERT_TRUE(got == EncodeRow(EncodeMcuRow, c, lines, capacity))
          << static_cast<uint32_t>(c.code) << " width " << c.width << " quality " << c.quality
          << " pending " << c.bit_count << " capacity " << capacity << ": " << got.position
          << " bytes";
    }
  }
}

TEST(EncoderKernels, RowsOfAllWidthsAndLayouts) {
  ForEachRung([](CpuRung rung) {
    for (const Layout& layout : kInputLayouts) {
      for (int width = 1; width <= 65; ++width) {
        const auto i = static_cast<uint32_t>(width);
        const int quality = std::array{100, 75, 30, 90}[i % 4];
        CheckRow(rung, {layout.code, width, kContents[i % 5], quality, i % 8});
      }
    }
  });
}

TEST(EncoderKernels, LongRowsAndLargeCoefficients) {
  const RowCase cases[] = {{PixelCode::kYuyv, 640, Content::kNoise, 100, 3},
                           {PixelCode::kBgr24, 640, Content::kNoise, 100, 7},
                           {PixelCode::kUyvy, 641, Content::kReal, 100, 0},
                           {PixelCode::kBgra32, 513, Content::kReal, 95, 1},
                           {PixelCode::kVyuy, 640, Content::kReal, 60, 5},
                           {PixelCode::kYuyv, 400, Content::kLow, 75, 6},
                           {PixelCode::kYuyv, 200, Content::kReal, 75, 2, 3},
                           {PixelCode::kBgr24, 200, Content::kNoise, 10, 2, 1}};
  ForEachRung([&](CpuRung rung) {
    for (const RowCase& c : cases) CheckRow(rung, c);
  });
}

// Each capacity holds the head of what an ample one holds, and no byte after it is touched.
TEST(EncoderKernels, RowsInAnyCapacity) {
  const RowCase c = {PixelCode::kYuyv, 256, Content::kNoise, 100, 4};
  const Lines lines = MakeLines(c, GuardAt::kEnd);
  const RowResult ample = EncodeRow(EncodeMcuRow, c, lines, 1 << 15);
  ForEachRung([&](CpuRung rung) {
    for (uint32_t capacity = 1; capacity < ample.position + 150; ++capacity) {
      RowResult wanted = ample;
      wanted.bytes.resize(std::min<size_t>(capacity, wanted.bytes.size()));
      ASSERT_TRUE(EncodeRow(McuRowEncoderOf(rung), c, lines, capacity) == wanted) << capacity;
    }
  });
}

}  // namespace
