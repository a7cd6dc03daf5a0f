// Which instruction sets this process uses. A rung is a complete set of kernels; all rungs give the
// same bytes and pixels.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace tkmjpg {

enum class CpuRung { kPlain = 0, kAvx2 = 1, kAvx512 = 2 };

inline constexpr int kCpuRungCount = 3;

std::string_view CpuRungName(CpuRung rung);
std::optional<CpuRung> CpuRungByName(std::string_view name);

// The highest rung that this processor, operating system and build can run.
CpuRung HighestCpuRung();

// The rung in use: the environment's TKMJPG_CPU at the first call, if it names a rung that can run
// here, else the highest.
CpuRung ActiveCpuRung();

// Uses `rung` from the next frame on; false, with nothing changed, if it cannot run here.
bool ForceCpuRung(CpuRung rung);

}  // namespace tkmjpg
