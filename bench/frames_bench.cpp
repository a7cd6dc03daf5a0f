// Whole frames through the two exported calls, one thread. "pixels" is pixels a second.
#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <vector>

#include "bench/bench_picture.h"
#include "tkmjpg.h"

namespace tkmjpg {
namespace {

constexpr int kFrameCount = 4;  // different ones in turn, so that no branch learns a frame by heart

struct FrameCase {
  CpuRung rung;
  int width, height, quality;
  uint32_t fourcc;
  int lines_wanted = height;  // of the decoded picture; fewer crop it
};

struct Footage {
  std::vector<BenchPicture> pictures;
  std::vector<std::vector<uint8_t>> streams;
};

uint32_t Encode(const BenchPicture& picture, const FrameCase& c, std::vector<uint8_t>& stream) {
  return CompressBuffer_MJPG(picture.bytes.data(), picture.Stride(), stream.data(),
                             static_cast<uint32_t>(stream.size()), c.width, c.height, c.quality, 0,
                             c.fourcc, 0, nullptr);
}

Footage MakeFootage(const FrameCase& c) {
  Footage footage;
  for (int i = 0; i < kFrameCount; ++i) {
    footage.pictures.push_back(MakeBenchPicture(c.width, c.height, i, c.fourcc));
    std::vector<uint8_t> stream(footage.pictures[i].bytes.size() + 65536);
    stream.resize(Encode(footage.pictures[i], c, stream));
    footage.streams.push_back(stream);
  }
  return footage;
}

void ReportPixels(benchmark::State& state, const FrameCase& c, const Footage& footage) {
  const double pixels = static_cast<double>(c.width) * c.height;
  double bytes = 0;
  for (const auto& stream : footage.streams) bytes += static_cast<double>(stream.size());
  state.counters["pixels"] = benchmark::Counter(pixels * static_cast<double>(state.iterations()),
                                                benchmark::Counter::kIsRate);
  state.counters["bits_per_pixel"] = 8 * bytes / kFrameCount / pixels;
}

void EncodeFrames(benchmark::State& state, const FrameCase& c) {
  ForceCpuRung(c.rung);
  const Footage footage = MakeFootage(c);
  std::vector<uint8_t> stream(footage.pictures[0].bytes.size() + 65536);
  size_t next = 0;
  for (auto _ : state) {
    if (Encode(footage.pictures[next++ % kFrameCount], c, stream) == 0) {
      state.SkipWithError("the frame does not fit");
      break;
    }
    benchmark::ClobberMemory();
  }
  ReportPixels(state, c, footage);
}

void DecodeFrames(benchmark::State& state, const FrameCase& c) {
  ForceCpuRung(c.rung);
  const Footage footage = MakeFootage(c);
  BenchPicture picture = footage.pictures[0];
  size_t next = 0;
  for (auto _ : state) {
    const auto& stream = footage.streams[next++ % kFrameCount];
    DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), picture.bytes.data(),
                          picture.Stride(), c.width, c.lines_wanted, 0, c.fourcc, 0, nullptr);
    benchmark::ClobberMemory();
  }
  ReportPixels(state, c, footage);
}

void RegisterFrames(const FrameCase& c) {
  const std::string layout(reinterpret_cast<const char*>(&c.fourcc), 4);
  const std::string name = layout + "/" + std::to_string(c.width) + "x" + std::to_string(c.height) +
                           "/q" + std::to_string(c.quality) + "/" +
                           std::string(CpuRungName(c.rung));
  benchmark::RegisterBenchmark(("encode/" + name).c_str(), EncodeFrames, c);
  benchmark::RegisterBenchmark(("decode/" + name).c_str(), DecodeFrames, c);
}

// Pictures of fewer lines than the image has.
void RegisterCropped(CpuRung rung) {
  for (const auto& [width, height, wanted] : {std::array{1920, 1088, 1080}, {720, 576, 288}}) {
    const FrameCase c = {rung, width, height, 75, TKMJPG_YUY2, wanted};
    const std::string name = "decode/cropped/" + std::to_string(height) + "->" +
                             std::to_string(wanted) + "/" + std::string(CpuRungName(rung));
    benchmark::RegisterBenchmark(name.c_str(), DecodeFrames, c);
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  ForEachRung(RegisterCropped);
  for (const uint32_t fourcc : {TKMJPG_YUY2, TKMJPG_BGR3}) {
    for (const auto& size : {std::pair(720, 576), std::pair(1920, 1080)}) {
      for (const int quality : {50, 75, 90}) {
        ForEachRung([&](CpuRung rung) {
          RegisterFrames({rung, size.first, size.second, quality, fourcc});
        });
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace tkmjpg
