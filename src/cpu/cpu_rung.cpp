#include "cpu/cpu_rung.h"

#if TKMJPG_X86
#include <cpuid.h>
#endif

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace tkmjpg {
namespace {

constexpr std::array<std::string_view, kCpuRungCount> kNames = {"plain", "sse4", "avx2", "avx512",
                                                                "neon"};

#if TKMJPG_X86
// What TKMJPG_TARGET_AVX2 allows besides AVX2. The builtin has no name for all of it.
bool HasBitInstructions() {
  uint32_t a, b, c, d;
  if (!__builtin_cpu_supports("bmi") || !__builtin_cpu_supports("bmi2")) return false;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
  if ((c & bit_MOVBE) == 0 || (c & bit_POPCNT) == 0) return false;
  return __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && (c & bit_LZCNT) != 0;
}
#endif

#if TKMJPG_X86
// These ask the operating system too, for it must save the wide registers.
bool HasSse4() {
  return __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1") &&
         __builtin_cpu_supports("popcnt");
}
bool HasAvx2() { return __builtin_cpu_supports("avx2") && HasBitInstructions(); }
#if TKMJPG_X86_64
bool HasAvx512() {
  return HasAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("avx512vbmi2");
}
#endif
#endif

CpuRung InitialRung() {
  const char* wanted = std::getenv("TKMJPG_CPU");
  const auto rung = CpuRungByName(wanted != nullptr ? wanted : "");
  return rung && CpuRungRuns(*rung) ? *rung : HighestCpuRung();
}

constexpr int kUndecided = -1;
std::atomic<int> active_rung = kUndecided;

}  // namespace

std::string_view CpuRungName(CpuRung rung) { return kNames[static_cast<size_t>(rung)]; }

std::optional<CpuRung> CpuRungByName(std::string_view name) {
  for (size_t i = 0; i < kNames.size(); ++i) {
    if (kNames[i] == name) return static_cast<CpuRung>(i);
  }
  return std::nullopt;
}

bool CpuRungRuns(CpuRung rung) {
  switch (rung) {
    case CpuRung::kPlain:
      return true;
#if TKMJPG_X86
    case CpuRung::kSse4:
      return HasSse4();
    case CpuRung::kAvx2:
      return HasAvx2();
#endif
#if TKMJPG_X86_64
    case CpuRung::kAvx512:
      return HasAvx512();
#endif
#if TKMJPG_NEON
    case CpuRung::kNeon:
      return true;
#endif
    default:
      return false;
  }
}

RunnableCpuRungs::RunnableCpuRungs() {
  for (int i = 0; i < kCpuRungCount; ++i) {
    const auto rung = static_cast<CpuRung>(i);
    if (CpuRungRuns(rung)) rungs_[count_++] = rung;
  }
}

CpuRung HighestCpuRung() { return *(RunnableCpuRungs().end() - 1); }

CpuRung ActiveCpuRung() {
  int rung = active_rung.load(std::memory_order_relaxed);
  if (rung != kUndecided) return static_cast<CpuRung>(rung);
  const CpuRung initial = InitialRung();
  // A rung that another thread has forced meanwhile stays.
  const bool decided = active_rung.compare_exchange_strong(rung, static_cast<int>(initial),
                                                           std::memory_order_relaxed);
  return decided ? initial : static_cast<CpuRung>(rung);
}

bool ForceCpuRung(CpuRung rung) {
  if (!CpuRungRuns(rung)) return false;
  active_rung.store(static_cast<int>(rung), std::memory_order_relaxed);
  return true;
}

}  // namespace tkmjpg
