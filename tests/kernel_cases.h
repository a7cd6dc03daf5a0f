// What the tests of kernels share: the rungs to compare.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "cpu/cpu_rung.h"
#include "tests/frame_calls.h"

// Forces a rung for its lifetime.
struct ForcedRung {
  tkmjpg::CpuRung before = tkmjpg::ActiveCpuRung();
  bool done;
  explicit ForcedRung(tkmjpg::CpuRung rung) : done(tkmjpg::ForceCpuRung(rung)) {}
  ~ForcedRung() { tkmjpg::ForceCpuRung(before); }
};

// Runs `check` for the rungs of this processor, each in a trace of its name.
inline void ForEachRung(const std::function<void(tkmjpg::CpuRung)>& check) {
  for (const tkmjpg::CpuRung rung : tkmjpg::RunnableCpuRungs()) {
    SCOPED_TRACE(tkmjpg::CpuRungName(rung));
    check(rung);
    if (testing::Test::HasFatalFailure()) return;
  }
}
