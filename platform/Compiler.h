// What the library asks of the compiler beyond the language, in one place:
// everything else includes this header instead of testing the compiler or
// the platform for itself.
#ifndef LUMBREL_PLATFORM_COMPILER_H
#define LUMBREL_PLATFORM_COMPILER_H

// LUMBREL_PREFETCH(address): a hint that `address` will be read soon; no
// effect where the compiler has no such hint.
#if defined(__GNUC__) || defined(__clang__)
#define LUMBREL_PREFETCH(address) __builtin_prefetch(address)
#else
#define LUMBREL_PREFETCH(address) static_cast<void>(address)
#endif

#endif  // LUMBREL_PLATFORM_COMPILER_H
