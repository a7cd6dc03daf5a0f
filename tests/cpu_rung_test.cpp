// The rungs as a whole: the same frames from each, and that the forced one really runs.
#include "cpu/cpu_rung.h"

#include <algorithm>

#include "decoder/decoder_kernels.h"
#include "encoder/encoder_kernels.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

// Forces a rung for its lifetime.
struct ForcedRung {
  CpuRung before = ActiveCpuRung();
  explicit ForcedRung(CpuRung rung) { EXPECT_TRUE(ForceCpuRung(rung)); }
  ~ForcedRung() { ForceCpuRung(before); }
};

TEST(Rungs, FramesOfAllWidthsAndBothStrideSigns) {
  for (int width = 1; width <= 65; ++width) {
    const auto seed = static_cast<uint32_t>(width);
    const Bytes picture =
        MakeBytes(kContents[3 + width % 2], static_cast<size_t>(4 * width), 19, seed);
    for (const int sign : {1, -1}) {
      const Call in{kInputLayouts[7], width,   19,      0,
                    60 + width % 41,  nullptr, 1 << 16, sign * 4 * width};
      ForcedRung plain(CpuRung::kPlain);
      const Bytes stream = Compress(picture, in);
      ForEachFastRung([&](CpuRung rung) {
        ForcedRung fast(rung);
        ASSERT_EQ(Compress(picture, in), stream) << "width " << width;
      });
      for (const Layout& layout : kOutputLayouts) {
        const int stride = sign * (width * layout.pixel_bytes + 7);
        const Call out{layout, width, 19, 0, 0, nullptr, 0, stride};
        const Bytes before(static_cast<size_t>(19 * std::abs(stride)), 0xA5);
        const Bytes pixels = Decompress(stream, out, before);
        ForEachFastRung([&](CpuRung rung) {
          ForcedRung fast(rung);
          ASSERT_EQ(Decompress(stream, out, before), pixels) << layout.name << " width " << width;
        });
      }
    }
  }
}

TEST(Rungs, NamesAndRefusals) {
  for (int i = 0; i < kCpuRungCount; ++i) {
    const auto rung = static_cast<CpuRung>(i);
    EXPECT_EQ(CpuRungByName(CpuRungName(rung)), rung);
    EXPECT_EQ(ForcedRung(ActiveCpuRung()).before, ActiveCpuRung());
    const CpuRung before = ActiveCpuRung();
    EXPECT_EQ(ForceCpuRung(rung), rung <= HighestCpuRung());
    EXPECT_EQ(ActiveCpuRung(), rung <= HighestCpuRung() ? rung : before);
    ForceCpuRung(before);
  }
  EXPECT_FALSE(ForceCpuRung(static_cast<CpuRung>(static_cast<int>(HighestCpuRung()) + 1)));
  for (const char* name : {"", "AVX2", "avx", "avx5122", "plain "}) {
    EXPECT_EQ(CpuRungByName(name), std::nullopt) << name;
  }
}

// A fast rung replaces the steps of the rungs below it, and each slot of each table is filled.
TEST(Rungs, TablesDiffer) {
  for (int i = 0; i <= static_cast<int>(HighestCpuRung()); ++i) {
    const auto rung = static_cast<CpuRung>(i);
    const EncoderKernels& encoder = EncoderKernelsOf(rung);
    const DecoderKernels& decoder = DecoderKernelsOf(rung);
    for (const Code format : kInputCodes) EXPECT_NE(SelectInputConverter(encoder, format), nullptr);
    for (const Code format : kOutputCodes) EXPECT_NE(SelectMcuConverter(decoder, format), nullptr);
    EXPECT_NE(decoder.inverse_transform, nullptr);
    if (i == 0) continue;
    const auto below = static_cast<CpuRung>(i - 1);
    EXPECT_NE(encoder.encode_mcu_row, EncoderKernelsOf(below).encode_mcu_row);
    EXPECT_NE(encoder.forward_transform, EncoderKernelsOf(below).forward_transform);
    EXPECT_NE(decoder.select_writer, DecoderKernelsOf(below).select_writer);
    EXPECT_NE(decoder.stage_bytes, DecoderKernelsOf(below).stage_bytes);
  }
}

// Bytes behind the streams of many small frames that are not as they were before.
size_t BytesBehindStreams() {
  size_t changed = 0;
  for (int width = 1; width <= 64; ++width) {
    const Bytes pixels = Noise(static_cast<size_t>(16 * width), static_cast<uint32_t>(width));
    Bytes room(1 << 14, 0xA5);
    const uint32_t size =
        CompressBuffer_MJPG(pixels.data(), 2 * width, room.data(), 1 << 14, width, 8, 90,
                            7 << TKMJPG_C_MODE_SHIFT, TKMJPG_YUY2, 0, nullptr);
    changed += static_cast<size_t>(room.end() - room.begin() - size -
                                   std::count(room.begin() + size, room.end(), 0xA5));
  }
  return changed;
}

// The fast rungs store whole registers, as far as the room goes, the plain one just the stream: so
// the room behind it shows whether the forced rung ran.
TEST(Rungs, TheForcedOneRuns) {
  {
    ForcedRung plain(CpuRung::kPlain);
    EXPECT_EQ(BytesBehindStreams(), 0U);
  }
  ForEachFastRung([](CpuRung rung) {
    ForcedRung fast(rung);
    EXPECT_GT(BytesBehindStreams(), 0U);
  });
}

}  // namespace
