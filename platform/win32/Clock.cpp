// Calendar conversions and the wall clock on Windows: the C runtime's 64-bit
// time functions, whose results are the caller's own, so that no result
// buffer is shared between threads.
#include <sys/timeb.h>
#include <time.h>

#include "platform/Clock.h"
#include "platform/win32/WinSupport.h"  // timeval

namespace Lumbrel {
namespace platform {

void loadTimeZone() { _tzset(); }

bool localTime(std::int64_t seconds, std::tm& result) {
  const __time64_t t = seconds;
  return _localtime64_s(&result, &t) == 0;
}

bool universalTime(std::int64_t seconds, std::tm& result) {
  const __time64_t t = seconds;
  return _gmtime64_s(&result, &t) == 0;
}

bool makeTime(std::tm& time, std::int64_t& seconds) {
  const __time64_t result = _mktime64(&time);
  if (result == -1) {
    // As on every platform, -1 is also a real moment: it was that moment only
    // if converting it back gives the fields we were given.
    std::tm check{};
    if (!localTime(-1, check) || !sameFields(check, time)) return false;
  }
  seconds = static_cast<std::int64_t>(result);
  return true;
}

WallClock wallClock() {
  __timeb64 now{};
  _ftime64_s(&now);
  return WallClock{static_cast<std::int64_t>(now.time), static_cast<std::uint32_t>(now.millitm)};
}

void splitTimeval(const ::timeval& time, std::int64_t& seconds, std::int64_t& microseconds) {
  seconds = static_cast<std::int64_t>(time.tv_sec);
  microseconds = static_cast<std::int64_t>(time.tv_usec);
}

}  // namespace platform
}  // namespace Lumbrel
