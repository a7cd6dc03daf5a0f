// Each kernel of each rung by itself, on the MCUs of a picture. "pixels" is pixels a second.
#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_picture.h"
#include "decoder/decoder_kernels.h"
#include "encoder/encoder_kernels.h"
#include "encoder/quant_tables.h"
#include "frame/stream_format.h"
#include "tkmjpg.h"

namespace tkmjpg {
namespace {

constexpr int kWidth = 1920, kHeight = 64;
constexpr int kMcus = kWidth / 16 * kHeight / 8;
constexpr int kQuality = 75;

void ReportPixels(benchmark::State& state) {
  state.counters["pixels"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kWidth * kHeight, benchmark::Counter::kIsRate);
}

std::array<const uint8_t*, 8> BandRows(const BenchPicture& picture, int top) {
  std::array<const uint8_t*, 8> rows;
  for (int r = 0; r < 8; ++r) rows[r] = picture.Row(top + r);
  return rows;
}

// The samples and coefficients of the picture's MCUs, by the plain kernels.
struct McuData {
  std::vector<std::array<uint8_t, kMcuSampleBytes>> samples;
  std::vector<McuCoefficients> coefficients;
  EncoderContext context;
};

McuData MakeMcuData(const EncoderKernels& kernels) {
  McuData data;
  BuildQuantTablesFromQuality(data.context, kQuality);
  for (int t = 0; t < 2; ++t)
    BuildQuantiser(data.context.quant_tables[t], data.context.quantisers[t]);
  const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, TKMJPG_YUY2);
  data.samples.resize(kMcus);
  data.coefficients.resize(kMcus);
  for (int i = 0; i < kMcus; ++i) {
    const int top = i / (kWidth / 16) * 8, left = i % (kWidth / 16) * 32;
    auto rows = BandRows(picture, top);
    for (auto& row : rows) row += left;
    kernels.convert_yuyv(rows.data(), data.samples[i].data());
    kernels.forward_transform(data.samples[i].data(), data.context.quantisers,
                              data.coefficients[i]);
  }
  return data;
}

void ConvertInput(benchmark::State& state, InputConverter convert, uint32_t fourcc) {
  const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, fourcc);
  alignas(64) uint8_t samples[kMcuSampleBytes];
  for (auto _ : state) {
    for (int top = 0; top < kHeight; top += 8) {
      auto rows = BandRows(picture, top);
      for (int x = 0; x < kWidth; x += 16) {
        convert(rows.data(), samples);
        benchmark::DoNotOptimize(samples);
      }
    }
  }
  ReportPixels(state);
}

void TransformForward(benchmark::State& state, const EncoderKernels* kernels) {
  const McuData data = MakeMcuData(*kernels);
  McuCoefficients coefficients;
  for (auto _ : state) {
    for (const auto& samples : data.samples) {
      kernels->forward_transform(samples.data(), data.context.quantisers, coefficients);
      benchmark::DoNotOptimize(coefficients);
    }
  }
  ReportPixels(state);
}

void EncodeBand(benchmark::State& state, const EncoderKernels* kernels, uint32_t fourcc,
                PixelFormatCode format) {
  const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, fourcc);
  EncoderContext context = MakeMcuData(*kernels).context;
  std::vector<uint8_t> stream(picture.bytes.size() * 2);
  context.kernels = kernels;
  context.pixel_format = format;
  context.width = kWidth;
  context.height = kHeight;
  context.mcus_per_row = kWidth / 16;
  context.output = {stream.data(), static_cast<uint32_t>(stream.size())};
  for (auto _ : state) {
    context.output.output_position = 0;
    for (int top = 0; top < kHeight; top += 8) {
      kernels->encode_mcu_row(context, BandRows(picture, top));
    }
    benchmark::ClobberMemory();
  }
  ReportPixels(state);
}

void TransformInverse(benchmark::State& state, const DecoderKernels* kernels) {
  const McuData data = MakeMcuData(EncoderKernelsOf(CpuRung::kPlain));
  std::vector<std::array<int16_t, 64>> blocks;
  for (const McuCoefficients& mcu : data.coefficients) {
    for (const auto& block : mcu.blocks) {
      auto& transposed = blocks.emplace_back();
      for (int k = 0; k < 64; ++k) transposed[kZigZag[k] % 8 * 8 + kZigZag[k] / 8] = block[k];
    }
  }
  alignas(64) std::array<uint16_t, 64> dequant;
  for (int n = 0; n < 64; ++n) {
    const int natural = n % 8 * 8 + n / 8;
    dequant[n] = static_cast<uint16_t>(16 * data.context.quant_tables[0].values[natural]);
  }
  alignas(64) uint8_t samples[64];
  for (auto _ : state) {
    for (const auto& block : blocks) {
      alignas(64) std::array<int16_t, 64> copy = block;
      kernels->inverse_transform(samples, copy.data(), dequant.data());
      benchmark::DoNotOptimize(samples);
    }
  }
  ReportPixels(state);
}

void ConvertOutput(benchmark::State& state, McuConverter convert) {
  const McuData data = MakeMcuData(EncoderKernelsOf(CpuRung::kPlain));
  BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, TKMJPG_BGR4);
  for (auto _ : state) {
    const uint8_t* blocks = data.samples[0].data();
    for (int top = 0; top < kHeight; top += 8) {
      std::array<uint8_t*, 8> rows;
      for (int r = 0; r < 8; ++r) rows[r] = picture.bytes.data() + (top + r) * picture.Stride();
      for (int x = 0; x < kWidth; blocks += kMcuBlockBytes, x += 16)
        convert(rows.data(), blocks, 8);
    }
    benchmark::ClobberMemory();
  }
  ReportPixels(state);
}

void RegisterEncoder(const std::string& rung, const EncoderKernels& kernels) {
  const struct {
    const char* name;
    InputConverter convert;
    uint32_t fourcc;
  } converters[] = {{"convert_rgb24", kernels.convert_rgb24, TKMJPG_BGR3},
                    {"convert_rgb32", kernels.convert_rgb32, TKMJPG_BGR4},
                    {"convert_rgb555", kernels.convert_rgb555, TKMJPG_R555},
                    {"convert_yuyv", kernels.convert_yuyv, TKMJPG_YUY2},
                    {"convert_uyvy", kernels.convert_uyvy, TKMJPG_UYVY}};
  for (const auto& c : converters) {
    benchmark::RegisterBenchmark(("encoder/" + std::string(c.name) + rung).c_str(), ConvertInput,
                                 c.convert, c.fourcc);
  }
  benchmark::RegisterBenchmark(("encoder/forward_transform" + rung).c_str(), TransformForward,
                               &kernels);
  benchmark::RegisterBenchmark(("encoder/encode_mcu_row/YUY2" + rung).c_str(), EncodeBand, &kernels,
                               TKMJPG_YUY2, PixelFormatCode::kYuyv);
  benchmark::RegisterBenchmark(("encoder/encode_mcu_row/BGR3" + rung).c_str(), EncodeBand, &kernels,
                               TKMJPG_BGR3, PixelFormatCode::kBgr24);
}

void RegisterDecoder(const std::string& rung, const DecoderKernels& kernels) {
  const std::pair<const char*, McuConverter> converters[] = {
      {"convert_yuyv", kernels.convert_yuyv},
      {"convert_yuyv_full", kernels.convert_yuyv_full},
      {"convert_uyvy", kernels.convert_uyvy},
      {"convert_uyvy_full", kernels.convert_uyvy_full},
      {"convert_bgr24", kernels.convert_bgr24},
      {"convert_bgr24_full", kernels.convert_bgr24_full},
      {"convert_bgrx32", kernels.convert_bgrx32},
      {"convert_bgrx32_full", kernels.convert_bgrx32_full},
      {"convert_bgra32", kernels.convert_bgra32},
      {"convert_bgra32_full", kernels.convert_bgra32_full},
      {"convert_rgb555", kernels.convert_rgb555},
      {"convert_rgb565", kernels.convert_rgb565}};
  benchmark::RegisterBenchmark(("decoder/inverse_transform" + rung).c_str(), TransformInverse,
                               &kernels);
  for (const auto& [name, convert] : converters) {
    benchmark::RegisterBenchmark(("decoder/" + std::string(name) + rung).c_str(), ConvertOutput,
                                 convert);
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  ForEachRung([](CpuRung rung) {
    const std::string suffix = std::string("/").append(CpuRungName(rung));
    RegisterEncoder(suffix, EncoderKernelsOf(rung));
    RegisterDecoder(suffix, DecoderKernelsOf(rung));
  });
  return true;
}();

}  // namespace
}  // namespace tkmjpg
