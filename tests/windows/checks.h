// Counting what holds and what does not, for test programs that run where GoogleTest does not.
#pragma once

#include <cstdio>

inline int passed_checks = 0;
inline int failed_checks = 0;

// Says what failed, and where; answers `holds`.
inline bool Check(bool holds, const char* what, const char* detail = "") {
  ++(holds ? passed_checks : failed_checks);
  if (!holds) std::printf("FAILED: %s %s\n", what, detail);
  return holds;
}

inline int Summary(const char* title) {
  std::printf("%s: %d checks passed, %d failed\n", title, passed_checks, failed_checks);
  return failed_checks == 0 && passed_checks > 0 ? 0 : 1;
}
