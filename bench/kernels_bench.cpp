// The rows of MCUs of each rung, and the plain steps that they are defined by, on the MCUs of a
// picture. "pixels" is pixels a second.
#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench_picture.h"
#include "decoder/bytes_to_bits.h"
#include "decoder/frame_decompressor.h"
#include "decoder/image_decoder.h"
#include "decoder/inverse_dct.h"
#include "decoder/output_conversion.h"
#include "decoder/stream_parser.h"
#include "encoder/forward_dct.h"
#include "encoder/input_conversion.h"
#include "encoder/mcu_row.h"
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

SourceRows RowsOf(const BenchPicture& picture, int top) {
  SourceRows rows;
  for (int r = 0; r < 8; ++r) rows[r] = picture.Row(top + r);
  return rows;
}

// The samples and coefficients of the picture's MCUs, by the plain kernels.
struct McuData {
  std::vector<std::array<uint8_t, kMcuSampleBytes>> samples;
  std::vector<McuCoefficients> coefficients;
  EncoderContext context;
};

McuData MakeMcuData() {
  McuData data;
  BuildQuantTablesFromQuality(data.context, kQuality);
  for (int t = 0; t < 2; ++t)
    BuildQuantiser(data.context.quant_tables[t], data.context.quantisers[t]);
  const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, TKMJPG_YUY2);
  const InputConverter convert = SelectInputConverter(PixelFormatCode::kYuyv);
  data.samples.resize(kMcus);
  data.coefficients.resize(kMcus);
  for (int i = 0; i < kMcus; ++i) {
    const int top = i / (kWidth / 16) * 8;
    const size_t left = size_t(i) % (kWidth / 16) * 32;
    convert(RowsOf(picture, top).data(), left, data.samples[i].data());
    ForwardTransformMcu(data.samples[i].data(), data.context.quantisers, data.coefficients[i]);
  }
  return data;
}

void ConvertInput(benchmark::State& state, const PixelLayout& layout) {
  const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, layout.fourcc);
  const InputConverter convert = SelectInputConverter(layout.code);
  const size_t mcu_bytes = 16 * BytesPerPixel(layout.code);
  alignas(64) uint8_t samples[kMcuSampleBytes];
  for (auto _ : state) {
    for (int top = 0; top < kHeight; top += 8) {
      const SourceRows rows = RowsOf(picture, top);
      for (size_t mcu = 0; mcu < kWidth / 16; ++mcu) {
        convert(rows.data(), mcu * mcu_bytes, samples);
        benchmark::DoNotOptimize(samples);
      }
    }
  }
  ReportPixels(state);
}

void TransformForward(benchmark::State& state) {
  const McuData data = MakeMcuData();
  McuCoefficients coefficients;
  for (auto _ : state) {
    for (const auto& samples : data.samples) {
      ForwardTransformMcu(samples.data(), data.context.quantisers, coefficients);
      benchmark::DoNotOptimize(coefficients);
    }
  }
  ReportPixels(state);
}

void EncodeBands(benchmark::State& state, CpuRung rung, const PixelLayout& layout) {
  const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, layout.fourcc);
  EncoderContext context = MakeMcuData().context;
  std::vector<uint8_t> stream(picture.bytes.size() * 2);
  const McuRowEncoder encode_row = McuRowEncoderOf(rung);
  context.pixel_format = layout.code;
  context.width = kWidth;
  context.height = kHeight;
  context.mcus_per_row = kWidth / 16;
  context.output = {stream.data(), static_cast<uint32_t>(stream.size())};
  for (auto _ : state) {
    context.output.output_position = 0;
    for (int top = 0; top < kHeight; top += 8) encode_row(context, RowsOf(picture, top));
    benchmark::ClobberMemory();
  }
  ReportPixels(state);
}

void TransformInverse(benchmark::State& state) {
  const McuData data = MakeMcuData();
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
      InverseTransformBlock(samples, block.data(), dequant.data());
      benchmark::DoNotOptimize(samples);
    }
  }
  ReportPixels(state);
}

BandRows LinesOf(BenchPicture& picture, int top) {
  BandRows band;
  band.count = 8;
  for (int r = 0; r < 8; ++r) band.rows[r] = picture.bytes.data() + (top + r) * picture.Stride();
  return band;
}

void ConvertOutput(benchmark::State& state, const PixelLayout& layout) {
  const McuData data = MakeMcuData();
  const McuConverter convert = SelectMcuConverter(layout.code);
  const size_t mcu_bytes = 16 * BytesPerPixel(layout.code);
  BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, TKMJPG_BGR4);
  for (auto _ : state) {
    const uint8_t* blocks = data.samples[0].data();
    for (int top = 0; top < kHeight; top += 8) {
      const BandRows band = LinesOf(picture, top);
      for (size_t mcu = 0; mcu < kWidth / 16; ++mcu, blocks += kMcuBlockBytes) {
        convert(band.rows.data(), mcu * mcu_bytes, blocks, 8);
      }
    }
    benchmark::ClobberMemory();
  }
  ReportPixels(state);
}

// A stream of the picture with its headers read.
struct CodedPicture {
  std::vector<uint8_t> stream;
  DecoderContext context;

  explicit CodedPicture(PixelFormatCode format) : stream(1 << 20) {
    const BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, TKMJPG_YUY2);
    stream.resize(CompressBuffer_MJPG(picture.bytes.data(), picture.Stride(), stream.data(),
                                      1 << 20, kWidth, kHeight, kQuality, 0, TKMJPG_YUY2, 0,
                                      nullptr));
    context.input = {stream.data() + stream.size(), stream.data()};
    context.pixel_format = format;
    if (!StartImage(context) || !SetUpImage(context, kWidth, kHeight)) stream.clear();
  }
};

// `by_definition`: the plain rows that damaged images go by.
void DecodeBands(benchmark::State& state, CpuRung rung, const PixelLayout& layout,
                 bool by_definition) {
  const CodedPicture coded(layout.code);
  BenchPicture picture = MakeBenchPicture(kWidth, kHeight, 0, layout.fourcc);
  for (auto _ : state) {
    DecoderContext context = coded.context;
    context.rung = rung;
    context.by_definition = by_definition;
    if (coded.stream.empty() || !DecodeImage(context, picture.bytes.data(), picture.Stride())) {
      state.SkipWithError("the picture is not decoded");
      break;
    }
    benchmark::ClobberMemory();
  }
  ReportPixels(state);
}

void MoveBytes(benchmark::State& state) {
  const CodedPicture coded(PixelFormatCode::kYuyv);
  std::vector<uint8_t> moved(coded.stream.size());
  for (auto _ : state) {
    EntropyInput input = coded.context.input;
    benchmark::DoNotOptimize(StageBytes(input, moved.data(), static_cast<int>(moved.size())));
  }
  ReportPixels(state);
}

std::string Name(const char* step, const PixelLayout& layout, std::string_view rung) {
  const std::string fourcc(reinterpret_cast<const char*>(&layout.fourcc), 4);
  return std::string(step) + "/" + fourcc + "/" + std::string(rung);
}

void RegisterSteps() {
  benchmark::RegisterBenchmark("encoder/forward_dct/plain", TransformForward);
  benchmark::RegisterBenchmark("decoder/inverse_dct/plain", TransformInverse);
  benchmark::RegisterBenchmark("decoder/bytes_to_bits/plain", MoveBytes);
  for (const PixelLayout& layout : kPixelLayouts) {
    if (layout.encoded) {
      benchmark::RegisterBenchmark(Name("encoder/input_conversion", layout, "plain").c_str(),
                                   ConvertInput, layout);
    }
    if (layout.decoded) {
      benchmark::RegisterBenchmark(Name("decoder/output_conversion", layout, "plain").c_str(),
                                   ConvertOutput, layout);
      benchmark::RegisterBenchmark(Name("decoder/mcu_row", layout, "definition").c_str(),
                                   DecodeBands, CpuRung::kPlain, layout, true);
    }
  }
}

void RegisterRows(CpuRung rung) {
  for (const PixelLayout& layout : kPixelLayouts) {
    if (layout.encoded) {
      benchmark::RegisterBenchmark(Name("encoder/mcu_row", layout, CpuRungName(rung)).c_str(),
                                   EncodeBands, rung, layout);
    }
    if (layout.decoded) {
      benchmark::RegisterBenchmark(Name("decoder/mcu_row", layout, CpuRungName(rung)).c_str(),
                                   DecodeBands, rung, layout, false);
    }
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  RegisterSteps();
  ForEachRung(RegisterRows);
  return true;
}();

}  // namespace
}  // namespace tkmjpg
