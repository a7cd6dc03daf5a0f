// The rungs as a whole: their names and tables, and that the forced one really runs.
#include "cpu/cpu_rung.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
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

// The shortest of some times that coding and decoding a frame took.
struct ShortestTimes {
  double encode = 1e9, decode = 1e9;
};

double SecondsOf(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// A row for an instruction set takes clearly less than the plain one's time where pixels have three
// bytes, which shuffles of bytes are for: so the time shows whether the forced rung ran. An
// emulator's time shows nothing.
TEST(Rungs, TheForcedOneRuns) {
  if (std::getenv("TKMJPG_EMULATED") != nullptr) GTEST_SKIP() << "this processor is emulated";
  const Call call = {kInputLayouts[5], 640, 480, kBare};
  Bytes pixels = Noise(call.Size(), 1);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(i / 4 % 160 + i / 7680 + pixels[i] % 4);
  }
  const RunnableCpuRungs rungs;
  std::array<ShortestTimes, kCpuRungCount> times;
  const ShortestTimes& plain = times[static_cast<size_t>(CpuRung::kPlain)];
  const auto shows = [&](CpuRung rung) {
    const ShortestTimes& own = times[static_cast<size_t>(rung)];
    return rung == CpuRung::kPlain ||
           (own.encode < 0.9 * plain.encode && own.decode < 0.9 * plain.decode);
  };
  // A busy machine needs more of them until each rung had the processor to itself once.
  for (int repetition = 0; repetition < 200; ++repetition) {
    for (const CpuRung rung : rungs) {
      const ForcedRung forced(rung);
      ShortestTimes& shortest = times[static_cast<size_t>(rung)];
      Bytes stream;
      const double encode = SecondsOf([&] { stream = Compress(pixels, call); });
      const double decode = SecondsOf([&] { Decompress(stream, call); });
      shortest.encode = std::min(shortest.encode, encode);
      shortest.decode = std::min(shortest.decode, decode);
    }
    if (repetition >= 7 && std::all_of(rungs.begin(), rungs.end(), shows)) break;
  }
  for (const CpuRung rung : rungs) {
    const ShortestTimes& own = times[static_cast<size_t>(rung)];
    EXPECT_TRUE(shows(rung)) << CpuRungName(rung) << ": " << own.encode / plain.encode << ", "
                             << own.decode / plain.decode;
  }
}

}  // namespace
