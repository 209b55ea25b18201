// The recursive, thread-owned lock behind Mutex, with any number of handles on
// one lock. A lock lives until its last handle is closed.
#ifndef LUMBREL_PLATFORM_LOCK_H
#define LUMBREL_PLATFORM_LOCK_H

#include <cstdint>

namespace Lumbrel {
namespace platform {

struct LockObject;  // opaque; one per lock, shared by its handles

constexpr std::uint32_t kWaitForever = 0xFFFFFFFFu;

enum class LockWait {
  acquired,   // the caller holds the lock
  timedOut,   // another thread held it for the whole limit
  abandoned,  // the holder ended while holding it; the caller now holds it once
  failed,     // the call failed; nothing is held
};

// A new lock that nobody holds, with one handle; null on failure.
LockObject* createLock();
// A further handle on `lock`; null on failure.
LockObject* duplicateLock(LockObject* lock);
// Closes one handle; the last one destroys the lock. False on failure.
bool closeLock(LockObject* lock);
// Takes the lock, waiting at most `milliseconds` against a monotonic clock
// (kWaitForever: no limit; 0: one try).
LockWait acquireLock(LockObject* lock, std::uint32_t milliseconds);
// Gives back one take of the calling thread; false, with no effect, when the
// caller does not hold the lock.
bool releaseLock(LockObject* lock);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_LOCK_H
