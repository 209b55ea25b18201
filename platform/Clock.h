// Calendar conversions and the wall clock: the time-zone rules of the
// environment, seconds since the epoch to and from broken-down time, and the
// present moment. `std::tm` is the C library's broken-down time, the same on
// every platform. Nothing here raises or takes a lock of its own; the
// conversions are safe to call from several threads at once.
#ifndef LUMBREL_PLATFORM_CLOCK_H
#define LUMBREL_PLATFORM_CLOCK_H

#include <cstdint>
#include <ctime>

// The C library's pair of seconds and microseconds, as the public DateTime
// header declares it.
struct timeval;

namespace Lumbrel {
namespace platform {

// Reads the time-zone rules from the environment again, so that a change of
// TZ made since the last call takes effect.
void loadTimeZone();

// Local time of `seconds` since the epoch; false when the platform has none
// for it (out of its range).
bool localTime(std::int64_t seconds, std::tm& result);
// UTC of `seconds` since the epoch; false when out of range.
bool universalTime(std::int64_t seconds, std::tm& result);
// Whether two broken-down times hold the same date and time of day (the
// fields a caller gives; the derived day of week and year are left out).
bool sameFields(const std::tm& a, const std::tm& b);
// Reads `time` as local time (its tm_isdst as the C library takes it),
// normalises it in place and gives seconds since the epoch; false when they
// cannot be represented. One second before the epoch is a success.
bool makeTime(std::tm& time, std::int64_t& seconds);

// A reading of the wall clock, which may be set back and forth.
struct WallClock {
  std::int64_t seconds;        // since the epoch
  std::uint32_t milliseconds;  // 0 to 999
};
WallClock wallClock();

// The two members of a `timeval`.
void splitTimeval(const ::timeval& time, std::int64_t& seconds, std::int64_t& microseconds);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_CLOCK_H
