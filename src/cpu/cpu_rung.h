// Which instruction sets this process uses. A rung is a complete set of kernels; all rungs give the
// same bytes and pixels.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tkmjpg {

// Of one family of processors a later rung is the faster one.
enum class CpuRung { kPlain, kSse4, kAvx2, kAvx512, kNeon };

inline constexpr int kCpuRungCount = 5;

std::string_view CpuRungName(CpuRung rung);
std::optional<CpuRung> CpuRungByName(std::string_view name);

// Whether this processor, operating system and build can run a rung.
bool CpuRungRuns(CpuRung rung);

// The rungs that run here, the plain one first and the fastest last.
class RunnableCpuRungs {
 public:
  RunnableCpuRungs();
  const CpuRung* begin() const { return rungs_.data(); }
  const CpuRung* end() const { return rungs_.data() + count_; }

 private:
  std::array<CpuRung, kCpuRungCount> rungs_{};
  size_t count_ = 0;
};

// The fastest rung that runs here.
CpuRung HighestCpuRung();

// The rung in use: the environment's TKMJPG_CPU at the first call, if it names a rung that can run
// here, else the highest.
CpuRung ActiveCpuRung();

// Uses `rung` from the next frame on; false, with nothing changed, if it cannot run here.
bool ForceCpuRung(CpuRung rung);

}  // namespace tkmjpg
