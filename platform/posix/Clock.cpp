// Calendar conversions and the wall clock on POSIX: the reentrant forms of
// localtime and gmtime, so that no result buffer is shared between threads.
#include <sys/time.h>
#include <time.h>

#include "platform/Clock.h"

namespace Lumbrel {
namespace platform {

void loadTimeZone() { tzset(); }

bool localTime(std::int64_t seconds, std::tm& result) {
  const time_t t = static_cast<time_t>(seconds);
  return localtime_r(&t, &result) != nullptr;
}

bool universalTime(std::int64_t seconds, std::tm& result) {
  const time_t t = static_cast<time_t>(seconds);
  return gmtime_r(&t, &result) != nullptr;
}

bool makeTime(std::tm& time, std::int64_t& seconds) {
  const time_t result = mktime(&time);
  if (result == static_cast<time_t>(-1)) {
    // mktime reports failure with a value that is also a real moment. It was
    // that moment only if converting it back gives the fields we were given.
    std::tm check{};
    if (!localTime(-1, check) || !sameFields(check, time)) return false;
  }
  seconds = static_cast<std::int64_t>(result);
  return true;
}

WallClock wallClock() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return WallClock{static_cast<std::int64_t>(now.tv_sec),
                   static_cast<std::uint32_t>(now.tv_nsec / 1000000)};
}

void splitTimeval(const ::timeval& time, std::int64_t& seconds, std::int64_t& microseconds) {
  seconds = static_cast<std::int64_t>(time.tv_sec);
  microseconds = static_cast<std::int64_t>(time.tv_usec);
}

}  // namespace platform
}  // namespace Lumbrel
