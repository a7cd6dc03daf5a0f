#include "decoder/decoder_kernels.h"

#include "decoder/huffman_decoder.h"

namespace tkmjpg {
namespace {

constexpr DecoderKernels kPlainKernels = {
    .inverse_transform = InverseTransformBlock,
    .convert_yuyv = ConvertMcuToYuyv,
    .convert_yuyv_full = ConvertMcuToYuyvFull,
    .convert_uyvy = ConvertMcuToUyvy,
    .convert_uyvy_full = ConvertMcuToUyvyFull,
    .convert_bgr24 = ConvertMcuToBgr24,
    .convert_bgr24_full = ConvertMcuToBgr24Full,
    .convert_bgrx32 = ConvertMcuToBgrx32,
    .convert_bgrx32_full = ConvertMcuToBgrx32Full,
    .convert_bgra32 = ConvertMcuToBgra32,
    .convert_bgra32_full = ConvertMcuToBgra32Full,
    .convert_rgb555 = ConvertMcuToRgb555,
    .convert_rgb565 = ConvertMcuToRgb565,
    .stage_bytes = StageBytes,
    .select_writer = nullptr,
};

// The tables by rung, each one made of the rung below.
constexpr std::array<DecoderKernels, kCpuRungCount> MakeTables() {
  DecoderKernels kernels = kPlainKernels;
  std::array<DecoderKernels, kCpuRungCount> tables = {kernels, kernels, kernels, kernels, kernels};
#if TKMJPG_X86_64
  kernels.stage_bytes = StageBytesAvx2;
  kernels.select_writer = SelectWriterAvx2;
  tables[static_cast<size_t>(CpuRung::kAvx2)] = kernels;
  kernels.stage_bytes = StageBytesAvx512;
  kernels.select_writer = SelectWriterAvx512;
  tables[static_cast<size_t>(CpuRung::kAvx512)] = kernels;
#endif
  return tables;
}

constexpr std::array<DecoderKernels, kCpuRungCount> kTables = MakeTables();

}  // namespace

const DecoderKernels& DecoderKernelsOf(CpuRung rung) { return kTables[static_cast<size_t>(rung)]; }

}  // namespace tkmjpg
