#include "lumbrel/DateTime.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "TestSupport.h"

using Lumbrel::DateTime;

namespace {

// Every test that depends on the time zone sets its own, so none is restored.
void useZone(const char* zone) {
  ::setenv("TZ", zone, 1);
  ::tzset();
}

// New York's rules as a POSIX string, so no zone database is needed.
constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";

std::string text(const DateTime& value) { return value; }

// Every calendar field, whatever the stored parts print.
std::string fields(const DateTime& v) {
  std::ostringstream out;
  out << v.getYear() << ' ' << +v.getMonth() << ' ' << +v.getDay() << ' ' << +v.getHour() << ' '
      << +v.getMinute() << ' ' << +v.getSecond();
  return out.str();
}

std::tm tmOf(int year, int month, int day, int hour, int minute, int second) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  t.tm_isdst = -1;
  return t;
}

// `input` read with `parts` gives the `expected` fields, or "incorrect format." for nullptr.
void expectRead(const std::string& input, unsigned int parts, const char* expected) {
  if (expected != nullptr) {
    EXPECT_EQ(fields(DateTime(input, parts)), expected) << input << ' ' << parts;
  } else {
    EXPECT_THROW_MSG(DateTime(input, parts), std::invalid_argument, "incorrect format.");
  }
}

// Both bounds of a setter are accepted; one beyond each is refused with `message`.
template <typename T>
void expectBounds(DateTime& v, void (DateTime::*set)(T), int low, int high, const char* message) {
  (v.*set)(static_cast<T>(low));
  (v.*set)(static_cast<T>(high));
  // Below 0 an unsigned argument wraps to its top, which is refused as well.
  EXPECT_THROW_MSG((v.*set)(static_cast<T>(low - 1)), std::invalid_argument, message);
  EXPECT_THROW_MSG((v.*set)(static_cast<T>(high + 1)), std::invalid_argument, message);
}

TEST(DateTimeTest, TextFormShowsTheStoredParts) {
  const char* const printed[] = {"", "2004-03-09", "07:05:02", "2004-03-09 07:05:02"};
  for (unsigned int parts = 0; parts < 4; ++parts) {
    std::ostringstream out;
    out << DateTime("2004-03-09 07:05:02", parts);
    EXPECT_EQ(out.str(), printed[parts]) << parts;
  }

  const DateTime empty;
  EXPECT_EQ(fields(empty), "0 0 0 0 0 0");
  EXPECT_EQ(empty.getMillisecond(), 0u);
  EXPECT_EQ(empty.getOffset(), 0);
  EXPECT_EQ(text(empty), "0000-00-00 00:00:00");
  EXPECT_EQ(fields(DateTime(text(empty), 3)), "0 0 0 0 0 0");
}

TEST(DateTimeTest, EachPartsReadsItsOwnTextByPosition) {
  const std::string forms[] = {"2004-03-09", "07:05:02", "2004-03-09 07:05:02"};
  const char* const date = "2004 3 9 0 0 0";
  const char* const time = "0 0 0 7 5 2";
  const char* const none = "0 0 0 0 0 0";
  // Rows: parts 0 to 3; columns: the three forms above.
  const char* const accepted[4][3] = {{none, none, none},
                                      {date, nullptr, date},
                                      {nullptr, time, time},
                                      {nullptr, nullptr, "2004 3 9 7 5 2"}};
  for (unsigned int parts = 0; parts < 4; ++parts) {
    for (int form = 0; form < 3; ++form) expectRead(forms[form], parts, accepted[parts][form]);
    if (parts != 0) expectRead("", parts, nullptr);
  }
  // Anything stands at position 10 and after the last field; each field is read by atoi.
  expectRead("2004-03-09T07:05:02.750", 3, "2004 3 9 7 5 2");
  expectRead("2004-00-15", 1, "2004 0 15 0 0 0");
  expectRead("abcd-ef-gh", 1, none);
  expectRead("2004-03-", 1, "2004 3 0 0 0 0");
  expectRead("3000-12-31 23:59:59", 3, "3000 12 31 23 59 59");

  // The setters' bounds hold for text; a sign wraps at the setter's type.
  const std::pair<const char*, const char*> refused[] = {
      {"0999-01-01", "year out-of-range"}, {"2004-13-01", "month out-of-range."},
      {"2004-01-32", "day out-of-range."}, {"24:00:00", "hour out-of-range."},
      {"-1:00:00", "hour out-of-range."},  {"00:00:60", "second out-of-range."}};
  for (const auto& [input, message] : refused) {
    const unsigned int parts = input[2] == ':' ? 2 : 1;  // a time, else a date
    EXPECT_THROW_MSG(DateTime(input, parts), std::invalid_argument, message);
  }
}

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
  // The refusals changed nothing.
  EXPECT_EQ(fields(v), "3000 12 31 23 59 59");
  EXPECT_EQ(v.getOffset(), 840);
  EXPECT_EQ(v.getMillisecond(), 5000u);

  v.clear(2);
  EXPECT_EQ(text(v), "3000-12-31 00:00:00");
  EXPECT_EQ(v.getOffset(), 0);
  EXPECT_EQ(v.getMillisecond(), 0u);
  v.clear(1);
  EXPECT_EQ(text(v), "0000-00-00 00:00:00");
}

TEST(DateTimeTest, ComparisonIsBySecondOfLocalTime) {
  useZone(kNewYork);
  const DateTime odd("2004-02-31 10:00:00", 3), march("2004-03-02 10:00:00", 3);
  EXPECT_EQ(text(odd), "2004-02-31 10:00:00");
  EXPECT_TRUE(odd == march && !(odd != march));
  EXPECT_EQ(odd.getDay(), 31);  // converting did not normalise the fields

  DateTime a("2004-03-09 07:05:02", 3), b(a);
  a.setMillisecond(999);
  b.setOffset(60);
  EXPECT_TRUE(a == b && a <= b && a >= b && !(a < b) && !(a > b));
  EXPECT_FALSE(a == DateTime("2004-03-09 07:05:02", 1));  // a date alone is its midnight
  const DateTime later("2004-03-09 07:05:03", 3);
  EXPECT_TRUE(a < later && a <= later && later > a && later >= a && a != later);
}

TEST(DateTimeTest, FromSecondsRoundTripsAcrossDaylightSaving) {
  useZone(kNewYork);
  // 2021-01-15 12:00 UTC (EST) and 2021-07-01 12:00 UTC (EDT): the standard offset in both.
  const DateTime winter(1610712000L, 3), summer(1625140800L, 3);
  EXPECT_EQ(text(summer), "2021-07-01 08:00:00");
  EXPECT_EQ(winter.getOffset(), -5);
  EXPECT_EQ(summer.getOffset(), -5);
  // Around the spring change and the autumn one (outside the repeated hour).
  for (long t : {0L, 1610712000L, 1625140800L, 1615705199L, 1615705200L, 1636264800L - 3601,
                 1636264800L + 3600}) {
    EXPECT_EQ(static_cast<long>(DateTime(t, 3)), t) << t;
  }
  const DateTime dateOnly(1625140800L, 1);
  EXPECT_EQ(fields(dateOnly), "2021 7 1 0 0 0");
  EXPECT_EQ(dateOnly.getOffset(), 0);
}

TEST(DateTimeTest, OffsetIsWholeHoursTowardZero) {
  const std::pair<const char*, short> zones[] = {
      {"EST5", -5}, {"IST-5:30", 5}, {"NST3:30", -3}, {"UTC0", 0}};
  for (const auto& [zone, offset] : zones) {
    useZone(zone);
    EXPECT_EQ(DateTime(1625140800L, 3).getOffset(), offset) << zone;
  }
  // In India 1970-01-01 05:29:59 is one second before the epoch: a moment, not a failure.
  useZone("IST-5:30");
  EXPECT_EQ(DateTime(tmOf(1970, 1, 1, 5, 29, 59), 3).getOffset(), 5);
}

TEST(DateTimeTest, FromTmTakesMembersWithoutBounds) {
  useZone("EST5");
  std::tm t = tmOf(2004, 2, 31, 23, 59, 60);
  const DateTime v(t, 3);
  EXPECT_EQ(fields(v), "2004 2 31 23 59 60");
  EXPECT_EQ(v.getOffset(), -5);
  t.tm_year = std::numeric_limits<int>::max();  // the months carry past the last year
  t.tm_mon = 23;
  EXPECT_EQ(DateTime(t, 3).getOffset(), 0);  // no second for it, and no failure
}

TEST(DateTimeTest, FromTimevalTakesMillisecondsAndRefusesNegativeSeconds) {
  useZone("UTC0");
  timeval tv{};
  tv.tv_sec = 1625140800;
  tv.tv_usec = 999999;
  EXPECT_EQ(text(DateTime(tv, 3)), "2021-07-01 12:00:00");
  EXPECT_EQ(DateTime(tv, 1).getMillisecond(), 999u);  // whatever the parts
  EXPECT_THROW_MSG(DateTime(-1L, 3), std::invalid_argument, "t is too small.");
  // Past the calendar's range the platform has no local time either.
  EXPECT_THROW_MSG(DateTime(std::numeric_limits<long>::max(), 3), std::invalid_argument,
                   "t is too small.");
}

}  // namespace
