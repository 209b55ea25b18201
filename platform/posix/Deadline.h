// Absolute deadlines on the monotonic clock for the timed waits of this
// folder, so that a change of the wall clock neither shortens nor stretches a
// wait.
#ifndef LUMBREL_PLATFORM_POSIX_DEADLINE_H
#define LUMBREL_PLATFORM_POSIX_DEADLINE_H

#include <time.h>

#include <cstdint>

namespace Lumbrel {
namespace platform {

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

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_POSIX_DEADLINE_H
