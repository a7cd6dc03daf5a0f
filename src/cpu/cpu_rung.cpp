#include "cpu/cpu_rung.h"

#if TKMJPG_X86_64
#include <cpuid.h>
#endif

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace tkmjpg {
namespace {

constexpr std::array<std::string_view, kCpuRungCount> kNames = {"plain", "avx2", "avx512"};

#if TKMJPG_X86_64
// What TKMJPG_TARGET_AVX2 allows besides AVX2. The builtin has no name for all of it.
bool HasBitInstructions() {
  uint32_t a, b, c, d;
  if (!__builtin_cpu_supports("bmi") || !__builtin_cpu_supports("bmi2")) return false;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
  if ((c & bit_MOVBE) == 0 || (c & bit_POPCNT) == 0) return false;
  return __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && (c & bit_LZCNT) != 0;
}
#endif

CpuRung InitialRung() {
  const char* wanted = std::getenv("TKMJPG_CPU");
  const auto rung = CpuRungByName(wanted != nullptr ? wanted : "");
  return rung && *rung <= HighestCpuRung() ? *rung : HighestCpuRung();
}

std::atomic<CpuRung>& Active() {
  static std::atomic<CpuRung> active = InitialRung();
  return active;
}

}  // namespace

std::string_view CpuRungName(CpuRung rung) { return kNames[static_cast<size_t>(rung)]; }

std::optional<CpuRung> CpuRungByName(std::string_view name) {
  for (size_t i = 0; i < kNames.size(); ++i) {
    if (kNames[i] == name) return static_cast<CpuRung>(i);
  }
  return std::nullopt;
}

CpuRung HighestCpuRung() {
#if TKMJPG_X86_64
  // These ask the operating system too, for it must save the wide registers.
  if (!__builtin_cpu_supports("avx2") || !HasBitInstructions()) return CpuRung::kPlain;
  const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
                      __builtin_cpu_supports("avx512vbmi2");
  return avx512 ? CpuRung::kAvx512 : CpuRung::kAvx2;
#else
  return CpuRung::kPlain;
#endif
}

CpuRung ActiveCpuRung() { return Active().load(std::memory_order_relaxed); }

bool ForceCpuRung(CpuRung rung) {
  if (rung > HighestCpuRung()) return false;
  Active().store(rung, std::memory_order_relaxed);
  return true;
}

}  // namespace tkmjpg
