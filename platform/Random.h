// The system's source of random bytes, and a way for per-process caches of
// them to notice that they were inherited by a child process.
#ifndef LUMBREL_PLATFORM_RANDOM_H
#define LUMBREL_PLATFORM_RANDOM_H

#include <cstddef>
#include <cstdint>

namespace Lumbrel {
namespace platform {

// Fills `buffer` with `size` bytes from the kernel's cryptographic source. It
// blocks only while that source is not yet seeded after boot. False when the
// source fails; `buffer` then holds nothing usable.
bool randomBytes(unsigned char* buffer, std::size_t size);

// A number that changes in the child each time the process forks. A cache
// stamped with it is stale when the two differ: its bytes are the parent's too.
std::uint64_t processGeneration();

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_RANDOM_H
