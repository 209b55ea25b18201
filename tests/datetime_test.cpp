#include "lumbrel/DateTime.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "Timeval.h"
#include "platform/Clock.h"
#include "platform/Testing.h"

using Lumbrel::DateTime;

namespace {

// Every test that depends on the time zone sets its own, so none is restored.
void useZone(const char* zone) { Lumbrel::platform::setTimeZone(zone); }

std::tm brokenDown(int year, int month, int day, int hour, int minute, int second) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  return t;
}

std::string text(const DateTime& value) { return value; }

// Whether the platform's C library has local times before the epoch (Windows' has none).
const bool kBeforeEpoch = [] {
  std::tm t{};
  return Lumbrel::platform::localTime(-1, t);
}();

// Every calendar field, whatever the stored parts print.
using Fields = std::vector<int>;
Fields fields(const DateTime& v) {
  return {v.getYear(), v.getMonth(), v.getDay(), v.getHour(), v.getMinute(), v.getSecond()};
}

// Both bounds of a setter are accepted; one beyond each is refused with `message`.
template <typename T>
void expectBounds(DateTime& v, void (DateTime::*set)(T), int low, int high, const char* message) {
  (v.*set)(static_cast<T>(low));
  (v.*set)(static_cast<T>(high));
  EXPECT_THROW_MSG((v.*set)(static_cast<T>(low - 1)), std::invalid_argument, message);
  EXPECT_THROW_MSG((v.*set)(static_cast<T>(high + 1)), std::invalid_argument, message);
}

// datetime_fuzz holds the text form, every position, part and bound of it,
// against a reference; here the setters, the other sources and comparison.
TEST(DateTimeTest, SettersAcceptBothBoundsAndRefuseBeyond) {
  DateTime v("2004-03-09 07:05:02", 3);
  expectBounds(v, &DateTime::setYear, 1000, 3000, "year out-of-range");
  expectBounds(v, &DateTime::setMonth, 1, 12, "month out-of-range.");
  expectBounds(v, &DateTime::setDay, 1, 31, "day out-of-range.");
  expectBounds(v, &DateTime::setHour, 0, 23, "hour out-of-range.");
  expectBounds(v, &DateTime::setMinute, 0, 59, "minute out-of-range.");
  expectBounds(v, &DateTime::setSecond, 0, 59, "second out-of-range.");
  expectBounds(v, &DateTime::setOffset, -720, 840, "offset out-of-range.");
  v.setMillisecond(5000);
  EXPECT_EQ(fields(v), (Fields{3000, 12, 31, 23, 59, 59}));  // the refusals changed nothing
  v.clear(2);
  EXPECT_EQ(text(v), "3000-12-31 00:00:00");
  EXPECT_EQ(v.getOffset(), 0);
  EXPECT_EQ(v.getMillisecond(), 0u);
  v.clear(1);
  EXPECT_EQ(text(v), "0000-00-00 00:00:00");
  std::ostringstream out;  // insertion writes the text form, here a new value's
  out << DateTime();
  EXPECT_EQ(out.str(), "0000-00-00 00:00:00");
}

TEST(DateTimeTest, ComparisonIsBySecondOfLocalTime) {
  useZone("EST5EDT,M3.2.0,M11.1.0");  // New York's rules, with no zone database needed
  const DateTime odd("2004-02-31 10:00:00", 3);
  EXPECT_EQ(text(odd), "2004-02-31 10:00:00");  // converting does not normalise the fields
  EXPECT_TRUE(odd == DateTime("2004-03-02 10:00:00", 3));
  DateTime a("2004-03-09 07:05:02", 3), b(a);
  a.setMillisecond(999);
  b.setOffset(60);
  EXPECT_TRUE(a == b && a <= b && a >= b && !(a < b) && !(a > b) && !(a != b));
  EXPECT_FALSE(a == DateTime("2004-03-09 07:05:02", 1));  // a date alone is its midnight
  const DateTime later("2004-03-09 07:05:03", 3);
  EXPECT_TRUE(a < later && a <= later && later > a && later >= a && a != later);

  // The offset is the standard one all year; round trips around both changes (and from
  // the epoch, which is a day earlier in New York).
  EXPECT_EQ(text(DateTime(1625140800L, 3)), "2021-07-01 08:00:00");
  EXPECT_EQ(DateTime(1625140800L, 3).getOffset(), -5);
  EXPECT_EQ(fields(DateTime(1625140800L, 1)), (Fields{2021, 7, 1, 0, 0, 0}));
  for (long t : {0L, 1610712000L, 1615705199L, 1615705200L, 1636261199L, 1636268400L}) {
    EXPECT_EQ(static_cast<long>(DateTime(t, 3)), t == 0 && !kBeforeEpoch ? -1 : t) << t;
  }
}

TEST(DateTimeTest, SecondsTimevalAndTmGiveLocalFieldsAndWholeHourOffsets) {
  // The offset is in whole hours, toward zero.
  const std::pair<const char*, short> zones[] = {{"IST-5:30", 5}, {"NST3:30", -3}, {"UTC0", 0}};
  for (const auto& [zone, offset] : zones) {
    useZone(zone);
    EXPECT_EQ(DateTime(1625140800L, 3).getOffset(), offset) << zone;
  }
  timeval tv{1625140800, 999999};
  EXPECT_EQ(text(DateTime(tv, 3)), "2021-07-01 12:00:00");
  EXPECT_EQ(DateTime(tv, 1).getMillisecond(), 999u);  // whatever the parts
  EXPECT_THROW_MSG(DateTime(-1L, 3), std::invalid_argument, "t is too small.");
  if (sizeof(long) > 4) {  // beyond every C library's calendar
    EXPECT_THROW_MSG(DateTime(std::numeric_limits<long>::max(), 3), std::invalid_argument,
                     "t is too small.");
  }

  // tm members are taken without bounds; one second before the epoch is no failure (where
  // the platform has it, else the offset is 0).
  useZone("IST-5:30");
  std::tm t = brokenDown(1970, 1, 1, 5, 29, 59);
  EXPECT_EQ(DateTime(t, 3).getOffset(), kBeforeEpoch ? 5 : 0);
  t = brokenDown(2004, 2, 31, 23, 59, 60);
  EXPECT_EQ(fields(DateTime(t, 3)), (Fields{2004, 2, 31, 23, 59, 60}));
  // The widths of the text form are minimums.
  EXPECT_EQ(text(DateTime(brokenDown(11900, 255, 255, 255, 255, 255), 3)),
            "11900-255-255 255:255:255");
  t.tm_year = std::numeric_limits<int>::max();  // the months carry past the last year
  t.tm_mon = 23;
  EXPECT_EQ(DateTime(t, 3).getOffset(), 0);  // no second for it, and no failure
}

}  // namespace
