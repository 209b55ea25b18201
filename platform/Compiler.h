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

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_COMPILER_H
