// Attributes that compile one function for an instruction set that the rest of the library does not
// assume. Only functions marked so use it: inline functions that other files share must stay free
// of it, since the linker may keep any one copy of them.
#pragma once

#if TKMJPG_X86
#define TKMJPG_TARGET_SSE4 __attribute__((target("ssse3,sse4.1,popcnt")))
#define TKMJPG_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt,popcnt,movbe")))
#define TKMJPG_TARGET_AVX512                                                       \
  __attribute__((                                                                  \
      target("avx512f,avx512bw,avx512cd,avx512dq,avx512vl,avx512vbmi,avx512vbmi2," \
             "avx2,bmi,bmi2,lzcnt,popcnt,movbe")))
#endif
// ARMv8-A has NEON in its base.
#define TKMJPG_TARGET_NEON

// For the parts of such functions: never a function of its own that the linker could share.
#define TKMJPG_ALWAYS_INLINE inline __attribute__((always_inline))
