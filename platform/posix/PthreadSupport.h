// Pieces shared by the pthread-based parts of this folder: deadlines on the
// monotonic clock, and the guard of a held mutex.
#ifndef LUMBREL_PLATFORM_POSIX_PTHREAD_SUPPORT_H
#define LUMBREL_PLATFORM_POSIX_PTHREAD_SUPPORT_H

#include <pthread.h>
#include <time.h>

#include <cstdint>

namespace Lumbrel {
namespace platform {

// Absolute deadline on the monotonic clock, so that a change of the wall clock
// neither shortens nor stretches a wait.
inline timespec monotonicDeadline(std::uint32_t milliseconds) {
  timespec deadline;
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += static_cast<time_t>(milliseconds / 1000);
  deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  return deadline;
}

// Unlocks, at the end of a scope, a mutex that the caller has locked. A thread
// cancelled in a condition wait gets the mutex back before it unwinds, so the
// destructor is right on that way out as well.
class HeldMutex {
 public:
  explicit HeldMutex(pthread_mutex_t* mutex) : mutex_(mutex) {}
  ~HeldMutex() { pthread_mutex_unlock(mutex_); }
  HeldMutex(const HeldMutex&) = delete;
  HeldMutex& operator=(const HeldMutex&) = delete;

 private:
  pthread_mutex_t* mutex_;
};

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_POSIX_PTHREAD_SUPPORT_H
