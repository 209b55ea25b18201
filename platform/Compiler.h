// What the library asks of the compiler beyond the language, in one place:
// everything else includes this header instead of testing the compiler or
// the platform for itself. (The public headers cannot include it; their one
// counterpart is lumbrel/Export.h.)
#ifndef LUMBREL_PLATFORM_COMPILER_H
#define LUMBREL_PLATFORM_COMPILER_H

// LUMBREL_PREFETCH(address): a hint that `address` will be read soon; no
// effect where the compiler has no such hint.
#if defined(__GNUC__) || defined(__clang__)
#define LUMBREL_PREFETCH(address) __builtin_prefetch(address)
#else
#define LUMBREL_PREFETCH(address) static_cast<void>(address)
#endif

// LUMBREL_HAVE_SSE2: 1 where the target has SSE2 (every x86-64), whose
// intrinsics <emmintrin.h> then declares; 0 elsewhere, and where a build
// undefines __SSE2__ to test the portable paths.
#if defined(__SSE2__)
#define LUMBREL_HAVE_SSE2 1
#else
#define LUMBREL_HAVE_SSE2 0
#endif

// LUMBREL_TARGET_SSSE3 and LUMBREL_TARGET_AVX2: mark a function compiled for
// SSSE3 or AVX2 on a target that lacks them; call it only where
// platform::hasSsse3() or hasAvx2() (platform/Cpu.h) holds.
// LUMBREL_CAN_TARGET_SSSE3 is 1 where such functions exist: x86 with SSE2,
// under a compiler that takes target attributes and asks the processor, and
// unless LUMBREL_SSE2_ONLY is defined (a test build of the SSE2 paths).
#if LUMBREL_HAVE_SSE2 && (defined(__GNUC__) || defined(__clang__)) && \
    (defined(__x86_64__) || defined(__i386__)) && !defined(LUMBREL_SSE2_ONLY)
#define LUMBREL_CAN_TARGET_SSSE3 1
#define LUMBREL_TARGET_SSSE3 __attribute__((target("ssse3")))
#else
#define LUMBREL_CAN_TARGET_SSSE3 0
#define LUMBREL_TARGET_SSSE3
#endif
// LUMBREL_CAN_TARGET_AVX2: the same for AVX2, unless LUMBREL_NO_AVX2 is
// defined (a test build of the SSSE3 paths).
#if LUMBREL_CAN_TARGET_SSSE3 && !defined(LUMBREL_NO_AVX2)
#define LUMBREL_CAN_TARGET_AVX2 1
#define LUMBREL_TARGET_AVX2 __attribute__((target("avx2")))
#else
#define LUMBREL_CAN_TARGET_AVX2 0
#define LUMBREL_TARGET_AVX2
#endif

// LUMBREL_NOINLINE: keeps a function out of its callers, so that a rare path
// costs a hot one no saved registers.
#if defined(__GNUC__) || defined(__clang__)
#define LUMBREL_NOINLINE __attribute__((noinline))
#else
#define LUMBREL_NOINLINE
#endif

// LUMBREL_INITIAL_EXEC_TLS: puts a thread_local variable of the library in
// the block reserved at thread start, so that reaching it is one load from the
// thread pointer rather than a call to the dynamic loader; for a few bytes,
// read on hot paths.
#if defined(__GNUC__) || defined(__clang__)
#define LUMBREL_INITIAL_EXEC_TLS __attribute__((tls_model("initial-exec")))
#else
#define LUMBREL_INITIAL_EXEC_TLS
#endif

namespace Lumbrel {
namespace platform {

// The number of zero bits below the lowest set bit of `value`, which must not
// be 0.
inline unsigned countTrailingZeros(unsigned value) {
#if defined(__GNUC__) || defined(__clang__)
  return static_cast<unsigned>(__builtin_ctz(value));
#else
  unsigned count = 0;
  for (; (value & 1u) == 0; value >>= 1) ++count;
  return count;
#endif
}

// The index of the highest set bit of `bits`, which must not be 0.
inline unsigned highestBit(unsigned bits) {
#if defined(__GNUC__) || defined(__clang__)
  return 31u - static_cast<unsigned>(__builtin_clz(bits));
#else
  unsigned n = 0;
  while (bits >>= 1) ++n;
  return n;
#endif
}

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_COMPILER_H
