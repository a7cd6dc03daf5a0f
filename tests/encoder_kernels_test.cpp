// Every variant of every step of the encoder against the plain one, on every rung that can run
// here.
#include "encoder/encoder_kernels.h"

#include <algorithm>
#include <memory>

#include "encoder/quant_tables.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

TEST(EncoderKernels, InputConverters) {
  struct Case {
    const char* name;
    InputConverter EncoderKernels::*slot;
    size_t pixel_bytes;
  };
  const Case cases[] = {{"rgb24", &EncoderKernels::convert_rgb24, 3},
                        {"rgb32", &EncoderKernels::convert_rgb32, 4},
                        {"rgb555", &EncoderKernels::convert_rgb555, 2},
                        {"yuyv", &EncoderKernels::convert_yuyv, 2},
                        {"uyvy", &EncoderKernels::convert_uyvy, 2}};
  const auto run = [](InputConverter convert, const GuardedBuffer& pixels) {
    const size_t line = pixels.size() / 8;
    const uint8_t* rows[8];
    for (size_t r = 0; r < 8; ++r) rows[r] = pixels.data() + r * line;
    Bytes samples(kMcuSampleBytes);
    convert(rows, samples.data());
    for (size_t r = 0; r < 8; ++r) EXPECT_EQ(rows[r], pixels.data() + (r + 1) * line);
    return samples;
  };
  ForEachFastRung([&](CpuRung rung) {
    for (const Case& c : cases) {
      for (uint32_t i = 0; i < 40; ++i) {
        const GuardedBuffer pixels(MakeBytes(kContents[i % 5], 16 * c.pixel_bytes, 8, i));
        ASSERT_EQ(run(EncoderKernelsOf(rung).*c.slot, pixels),
                  run(EncoderKernelsOf(CpuRung::kPlain).*c.slot, pixels))
            << c.name << ' ' << Hex(pixels.data(), pixels.size());
      }
    }
  });
}

EncoderContext MakeEncoderContext(int quality) {
  EncoderContext context;
  BuildQuantTablesFromQuality(context, quality);
  for (int t = 0; t < 2; ++t) BuildQuantiser(context.quant_tables[t], context.quantisers[t]);
  return context;
}

TEST(EncoderKernels, ForwardTransform) {
  ForEachFastRung([](CpuRung rung) {
    for (const int quality : {1, 25, 50, 75, 90, 97, 100}) {
      const EncoderContext context = MakeEncoderContext(quality);
      for (uint32_t i = 0; i < 100; ++i) {
        const GuardedBuffer samples(MakeBytes(kContents[i % 5], 32, 8, i));
        McuCoefficients wanted, got;
        ForwardTransformMcu(samples.data(), context.quantisers, wanted);
        EncoderKernelsOf(rung).forward_transform(samples.data(), context.quantisers, got);
        ASSERT_EQ(got.blocks, wanted.blocks)
            << "quality " << quality << ": " << Hex(samples.data(), samples.size());
      }
    }
  });
}

struct RowCase {
  Code format;
  int width;
  Content content;
  int quality;
  uint32_t bit_count;  // pending at the start
  uint32_t restart_interval;
};

std::ostream& operator<<(std::ostream& out, const RowCase& c) {
  return out << std::hex << "format " << static_cast<uint32_t>(c.format) << std::dec << " width "
             << c.width << " content " << static_cast<int>(c.content) << " quality " << c.quality
             << " pending " << c.bit_count << " restarts " << c.restart_interval;
}

constexpr uint64_t kRowStart = 5;  // bytes of the output that are taken already

// What a row encoder leaves behind.
struct RowResult {
  Bytes bytes;  // what the output's room holds of the stream
  uint64_t position = 0;
  uint32_t bits = 0, bit_count = 0;
  std::array<int32_t, 3> last_dc{};

  bool operator==(const RowResult&) const = default;
};

std::ostream& operator<<(std::ostream& out, const RowResult& r) {
  out << r.position << " bytes, " << r.bit_count << " bits " << r.bits << ", dc";
  for (const int32_t dc : r.last_dc) out << ' ' << dc;
  return out << ": " << Hex(r.bytes.data(), std::min<size_t>(r.bytes.size(), 200));
}

// Each line lies in memory of its own, with a guard page behind or ahead of it.
using Lines = std::vector<std::unique_ptr<GuardedBuffer>>;

Lines MakeLines(const RowCase& c, GuardAt guard) {
  const size_t line = static_cast<size_t>(c.width) * BytesPerPixel(c.format);
  const Bytes picture = MakeBytes(c.content, line, 8, static_cast<uint32_t>(c.width));
  Lines lines;
  for (size_t r = 0; r < 8; ++r) {
    const auto begin = picture.begin() + static_cast<ptrdiff_t>(r * line);
    lines.push_back(
        std::make_unique<GuardedBuffer>(Bytes(begin, begin + static_cast<ptrdiff_t>(line)), guard));
  }
  return lines;
}

RowResult EncodeRow(McuRowEncoder encode, const RowCase& c, const Lines& lines, uint32_t room,
                    CpuRung rung) {
  const GuardedBuffer output(Bytes(room, 0xA5));
  EncoderContext context = MakeEncoderContext(c.quality);
  context.kernels = &EncoderKernelsOf(rung);
  context.pixel_format = c.format;
  context.width = c.width;
  context.height = 8;
  context.mcus_per_row = static_cast<uint32_t>(c.width + 15) / 16;
  context.restart_interval = context.restarts_to_go = c.restart_interval;
  context.last_dc = {17, -900, 4};
  context.output = {output.data(), room, kRowStart, 0x55 & ((1U << c.bit_count) - 1), c.bit_count};
  std::array<const uint8_t*, 8> rows;
  for (size_t r = 0; r < 8; ++r) rows[r] = lines[r]->data();
  encode(context, rows);
  const EntropyOutput& end = context.output;
  const auto stored = static_cast<ptrdiff_t>(std::min<uint64_t>(end.output_position, room));
  return {Bytes(output.data(), output.data() + stored), end.output_position,
          end.bit_accumulator & ((1U << end.bit_count) - 1), end.bit_count, context.last_dc};
}

// The same row with ample room, with just enough, and with half of it.
void CheckRow(CpuRung rung, const RowCase& c) {
  for (const GuardAt guard : {GuardAt::kEnd, GuardAt::kStart}) {
    const Lines lines = MakeLines(c, guard);
    const RowResult ample = EncodeRow(EncodeMcuRow, c, lines, 1 << 15, CpuRung::kPlain);
    const auto exact = static_cast<uint32_t>(ample.position);
    for (const uint32_t room : {1U << 15, exact, exact / 2}) {
      const RowResult wanted = EncodeRow(EncodeMcuRow, c, lines, room, CpuRung::kPlain);
      const McuRowEncoder encode = EncoderKernelsOf(rung).encode_mcu_row;
      ASSERT_EQ(EncodeRow(encode, c, lines, room, rung), wanted) << c << " room " << room;
    }
  }
}

TEST(EncoderKernels, RowsOfAllWidthsAndLayouts) {
  ForEachFastRung([](CpuRung rung) {
    for (const Code format : kInputCodes) {
      for (int width = 1; width <= 65; ++width) {
        const auto i = static_cast<uint32_t>(width);
        const int quality = std::array{100, 75, 30, 90}[i % 4];
        CheckRow(rung, {format, width, kContents[i % 5], quality, i % 8, 0});
      }
    }
  });
}

TEST(EncoderKernels, LongRowsAndLargeCoefficients) {
  const RowCase cases[] = {{Code::kYuyv, 640, Content::kNoise, 100, 3, 0},
                           {Code::kBgr24, 640, Content::kNoise, 100, 7, 0},
                           {Code::kUyvy, 641, Content::kReal, 100, 0, 0},
                           {Code::kBgra32, 513, Content::kReal, 95, 1, 0},
                           {Code::kVyuy, 640, Content::kReal, 60, 5, 0},
                           {Code::kYuyv, 400, Content::kLow, 75, 6, 0},
                           {Code::kYuyv, 200, Content::kReal, 75, 2, 3},
                           {Code::kBgr24, 200, Content::kNoise, 10, 2, 1}};
  ForEachFastRung([&](CpuRung rung) {
    for (const RowCase& c : cases) CheckRow(rung, c);
  });
}

// Each room holds the head of what an ample one holds, and no byte behind it is touched.
TEST(EncoderKernels, RowsInRoomsOfAllSizes) {
  const RowCase c = {Code::kYuyv, 256, Content::kNoise, 100, 4, 0};
  const Lines lines = MakeLines(c, GuardAt::kEnd);
  const RowResult ample = EncodeRow(EncodeMcuRow, c, lines, 1 << 15, CpuRung::kPlain);
  ForEachFastRung([&](CpuRung rung) {
    const auto largest = static_cast<uint32_t>(ample.position) + 150;
    for (uint32_t room = 1; room < largest; ++room) {
      RowResult wanted = ample;
      wanted.bytes.resize(std::min<size_t>(room, wanted.bytes.size()));
      ASSERT_EQ(EncodeRow(EncoderKernelsOf(rung).encode_mcu_row, c, lines, room, rung), wanted)
          << room;
    }
  });
}

}  // namespace
