// The rungs as a whole: their names and tables, and that the forced one really runs.
#include "cpu/cpu_rung.h"

#include <set>

#include "decoder/mcu_row.h"
#include "encoder/mcu_row.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

TEST(Rungs, NamesAndRefusals) {
  for (int i = 0; i < kCpuRungCount; ++i) {
    const auto rung = static_cast<CpuRung>(i);
    EXPECT_EQ(CpuRungByName(CpuRungName(rung)), rung);
    const ForcedRung forced(rung);
    EXPECT_EQ(forced.done, CpuRungRuns(rung));
    EXPECT_EQ(ActiveCpuRung(), forced.done ? rung : forced.before);
  }
  EXPECT_FALSE(ForceCpuRung(static_cast<CpuRung>(kCpuRungCount)));
  for (const char* name : {"", "AVX2", "avx", "avx5122", "plain "}) {
    EXPECT_EQ(CpuRungByName(name), std::nullopt) << name;
  }
}

// Each rung has rows of its own.
TEST(Rungs, RowsDiffer) {
  std::set<McuRowEncoder> encoders;
  std::set<FastRowDecoder> decoders;
  const RunnableCpuRungs rungs;
  for (const CpuRung rung : rungs) {
    encoders.insert(McuRowEncoderOf(rung));
    decoders.insert(FastRowDecoderOf(rung, PixelCode::kYuyv));
  }
  const auto count = static_cast<size_t>(rungs.end() - rungs.begin());
  EXPECT_EQ(encoders.size(), count);
  EXPECT_EQ(decoders.size(), count);
}

// Bytes behind the streams of many small frames that are not as they were before.
ptrdiff_t BytesBehindStreams() {
  ptrdiff_t changed = 0;
  for (int width = 1; width <= 64; ++width) {
    const Bytes pixels = Noise(size_t(16 * width), static_cast<uint32_t>(width));
    Bytes room(1 << 14, 0xA5);
    const uint32_t size = CompressBuffer_MJPG(pixels.data(), 2 * width, room.data(), 1 << 14, width,
                                              8, 90, Mode(7), TKMJPG_YUY2, 0, nullptr);
    changed += room.end() - room.begin() - size - std::count(room.begin() + size, room.end(), 0xA5);
  }
  return changed;
}

// The fast rungs store whole registers, as far as the room goes, the plain one just the stream: so
// the room behind it shows whether the forced rung ran.
TEST(Rungs, TheForcedOneRuns) {
  for (const CpuRung rung : RunnableCpuRungs()) {
    const ForcedRung forced(rung);
    EXPECT_EQ(BytesBehindStreams() > 0, rung != CpuRung::kPlain) << CpuRungName(rung);
  }
}

}  // namespace
