// What the processor offers beyond the target the library is built for,
// asked once at run time, so that a hot loop can take wider instructions
// where they exist without requiring them.
#ifndef LUMBREL_PLATFORM_CPU_H
#define LUMBREL_PLATFORM_CPU_H

#include "platform/Compiler.h"

namespace Lumbrel {
namespace platform {

// True where the processor runs SSSE3 and the compiler can target it
// (LUMBREL_TARGET_SSSE3); asked of the processor once.
inline bool hasSsse3() {
#if LUMBREL_CAN_TARGET_SSSE3
  static const bool has = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("ssse3") != 0;
  }();
  return has;
#else
  return false;
#endif
}

// The same for AVX2 (LUMBREL_TARGET_AVX2).
inline bool hasAvx2() {
#if LUMBREL_CAN_TARGET_AVX2
  static const bool has = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
  }();
  return has;
#else
  return false;
#endif
}

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_CPU_H
