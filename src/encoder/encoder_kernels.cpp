#include "encoder/encoder_kernels.h"

namespace tkmjpg {
namespace {

constexpr EncoderKernels kPlainKernels = {
    .convert_rgb24 = ConvertRgb24,
    .convert_rgb32 = ConvertRgb32,
    .convert_rgb555 = ConvertRgb555,
    .convert_yuyv = ConvertYuyv,
    .convert_uyvy = ConvertUyvy,
    .forward_transform = ForwardTransformMcu,
    .encode_mcu_row = EncodeMcuRow,
};

// The tables by rung, each one made of the rung below.
constexpr std::array<EncoderKernels, kCpuRungCount> MakeTables() {
  EncoderKernels kernels = kPlainKernels;
  std::array<EncoderKernels, kCpuRungCount> tables = {kernels, kernels, kernels, kernels, kernels};
#if TKMJPG_X86_64
  kernels.forward_transform = ForwardTransformMcuAvx2;
  kernels.encode_mcu_row = EncodeMcuRowAvx2;
  tables[static_cast<size_t>(CpuRung::kAvx2)] = kernels;
  kernels.forward_transform = ForwardTransformMcuAvx512;
  kernels.encode_mcu_row = EncodeMcuRowAvx512;
  tables[static_cast<size_t>(CpuRung::kAvx512)] = kernels;
#endif
  return tables;
}

constexpr std::array<EncoderKernels, kCpuRungCount> kTables = MakeTables();

}  // namespace

const EncoderKernels& EncoderKernelsOf(CpuRung rung) { return kTables[static_cast<size_t>(rung)]; }

}  // namespace tkmjpg
