#include "lumbrel/DateTime.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "TestSupport.h"

using Lumbrel::DateTime;

namespace {

// Sets the time zone of the process for one test and restores it after.
class ScopedZone {
 public:
  explicit ScopedZone(const char* zone) {
    const char* old = std::getenv("TZ");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~ScopedZone() {
    if (hadOld_) {
      ::setenv("TZ", old_.c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }

 private:
  bool hadOld_ = false;
  std::string old_;
};

// New York's rules as a POSIX string, so no zone database is needed.
constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";

std::string text(const DateTime& value) { return value; }

void expectFields(const DateTime& v, unsigned y, unsigned mo, unsigned d, unsigned h, unsigned mi,
                  unsigned s) {
  EXPECT_EQ(v.getYear(), y);
  EXPECT_EQ(v.getMonth(), mo);
  EXPECT_EQ(v.getDay(), d);
  EXPECT_EQ(v.getHour(), h);
  EXPECT_EQ(v.getMinute(), mi);
  EXPECT_EQ(v.getSecond(), s);
}

TEST(DateTimeTest, EmptyValuePrintsZerosAndReadsBack) {
  const DateTime empty;
  expectFields(empty, 0, 0, 0, 0, 0, 0);
  EXPECT_EQ(empty.getMillisecond(), 0u);
  EXPECT_EQ(empty.getOffset(), 0);
  EXPECT_EQ(text(empty), "0000-00-00 00:00:00");
  const DateTime back(text(empty), 3);
  expectFields(back, 0, 0, 0, 0, 0, 0);
  EXPECT_EQ(text(back), "0000-00-00 00:00:00");
}

TEST(DateTimeTest, PartsChooseWhatIsReadAndPrinted) {
  const std::string date = "2004-03-09", time = "07:05:02", both = "2004-03-09 07:05:02";
  const DateTime full(both, 3);
  expectFields(full, 2004, 3, 9, 7, 5, 2);
  EXPECT_EQ(text(full), both);

  const DateTime dateOnly(date, 1), dateOfBoth(both, 1);
  EXPECT_EQ(text(dateOnly), date);
  expectFields(dateOfBoth, 2004, 3, 9, 0, 0, 0);
  EXPECT_EQ(text(dateOfBoth), date);
  EXPECT_THROW_MSG(DateTime(time, 1), std::invalid_argument, "incorrect format.");

  const DateTime timeOnly(time, 2), timeOfBoth(both, 2);
  EXPECT_EQ(text(timeOnly), time);
  expectFields(timeOfBoth, 0, 0, 0, 7, 5, 2);
  EXPECT_EQ(text(timeOfBoth), time);
  EXPECT_THROW_MSG(DateTime(date, 2), std::invalid_argument, "incorrect format.");

  EXPECT_THROW_MSG(DateTime(date, 3), std::invalid_argument, "incorrect format.");
  EXPECT_THROW_MSG(DateTime(time, 3), std::invalid_argument, "incorrect format.");
  for (unsigned int parts : {1u, 2u, 3u}) {
    EXPECT_THROW_MSG(DateTime("", parts), std::invalid_argument, "incorrect format.");
  }

  for (const std::string& any : {date, time, both, std::string("nonsense"), std::string()}) {
    const DateTime nothing(any, 0);
    expectFields(nothing, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(text(nothing), "");
  }
  // Only the low two bits select; the stored word keeps its low eight.
  EXPECT_EQ(text(DateTime(both, 0x107)), both);
}

TEST(DateTimeTest, TextIsReadByPositionWithAtoi) {
  EXPECT_EQ(DateTime("2004-00-15", 1).getMonth(), 0);  // no setter for a 0
  expectFields(DateTime("abcd-ef-gh", 1), 0, 0, 0, 0, 0, 0);
  expectFields(DateTime("2004-03-09T07:05:02", 3), 2004, 3, 9, 7, 5, 2);
  const DateTime withFraction("2004-03-09 07:05:02.750", 3);
  EXPECT_EQ(withFraction.getSecond(), 2);
  EXPECT_EQ(withFraction.getMillisecond(), 0u);
  expectFields(DateTime("07:5x:2", 2), 0, 0, 0, 7, 5, 2);
  expectFields(DateTime("2004-03-", 1), 2004, 3, 0, 0, 0, 0);  // the text ends early
  expectFields(DateTime("07:05:", 2), 0, 0, 0, 7, 5, 0);
  // A signed field wraps at the setter's type and is refused there.
  EXPECT_THROW_MSG(DateTime("-1:00:00", 2), std::invalid_argument, "hour out-of-range.");
  // Nothing behind the first null counts.
  EXPECT_THROW_MSG(DateTime(std::string("2004-03-09\0 07:05:02", 19), 3), std::invalid_argument,
                   "incorrect format.");
}

TEST(DateTimeTest, TextFieldsKeepTheSetterBounds) {
  EXPECT_THROW_MSG(DateTime("0999-01-01", 1), std::invalid_argument, "year out-of-range");
  EXPECT_THROW_MSG(DateTime("3001-01-01", 1), std::invalid_argument, "year out-of-range");
  EXPECT_EQ(text(DateTime("1000-01-01", 1)), "1000-01-01");
  EXPECT_EQ(text(DateTime("3000-12-31", 1)), "3000-12-31");
  EXPECT_THROW_MSG(DateTime("2004-13-01", 1), std::invalid_argument, "month out-of-range.");
  EXPECT_THROW_MSG(DateTime("2004-01-32", 1), std::invalid_argument, "day out-of-range.");
  EXPECT_THROW_MSG(DateTime("24:00:00", 2), std::invalid_argument, "hour out-of-range.");
  EXPECT_THROW_MSG(DateTime("00:60:00", 2), std::invalid_argument, "minute out-of-range.");
  EXPECT_THROW_MSG(DateTime("00:00:60", 2), std::invalid_argument, "second out-of-range.");
  EXPECT_EQ(text(DateTime("23:59:59", 2)), "23:59:59");
}

TEST(DateTimeTest, SettersAcceptBothBoundsAndRefuseBeyond) {
  DateTime v("2004-03-09 07:05:02", 3);
  v.setYear(1000);
  v.setYear(3000);
  EXPECT_THROW_MSG(v.setYear(999), std::invalid_argument, "year out-of-range");
  EXPECT_THROW_MSG(v.setYear(3001), std::invalid_argument, "year out-of-range");
  v.setMonth(1);
  v.setMonth(12);
  EXPECT_THROW_MSG(v.setMonth(0), std::invalid_argument, "month out-of-range.");
  EXPECT_THROW_MSG(v.setMonth(13), std::invalid_argument, "month out-of-range.");
  v.setDay(1);
  v.setDay(31);
  EXPECT_THROW_MSG(v.setDay(0), std::invalid_argument, "day out-of-range.");
  EXPECT_THROW_MSG(v.setDay(32), std::invalid_argument, "day out-of-range.");
  v.setHour(0);
  v.setHour(23);
  EXPECT_THROW_MSG(v.setHour(24), std::invalid_argument, "hour out-of-range.");
  v.setMinute(0);
  v.setMinute(59);
  EXPECT_THROW_MSG(v.setMinute(60), std::invalid_argument, "minute out-of-range.");
  v.setSecond(0);
  v.setSecond(59);
  EXPECT_THROW_MSG(v.setSecond(60), std::invalid_argument, "second out-of-range.");
  v.setOffset(-720);
  EXPECT_EQ(v.getOffset(), -720);
  v.setOffset(840);
  EXPECT_THROW_MSG(v.setOffset(-721), std::invalid_argument, "offset out-of-range.");
  EXPECT_THROW_MSG(v.setOffset(841), std::invalid_argument, "offset out-of-range.");
  v.setMillisecond(5000);
  // The refusals changed nothing.
  expectFields(v, 3000, 12, 31, 23, 59, 59);
  EXPECT_EQ(v.getOffset(), 840);
  EXPECT_EQ(v.getMillisecond(), 5000u);
}

TEST(DateTimeTest, FebruaryThirtyFirstIsHeldAndEqualsMarchSecond) {
  ScopedZone zone(kNewYork);
  const DateTime odd("2004-02-31 10:00:00", 3);
  EXPECT_EQ(text(odd), "2004-02-31 10:00:00");
  const DateTime march("2004-03-02 10:00:00", 3);
  EXPECT_TRUE(odd == march);
  EXPECT_FALSE(odd != march);
  EXPECT_EQ(odd.getDay(), 31);  // converting did not normalise the fields
}

TEST(DateTimeTest, ComparisonsUseSecondsOnly) {
  ScopedZone zone(kNewYork);
  DateTime a("2004-03-09 07:05:02", 3);
  DateTime b("2004-03-09 07:05:02", 3);
  a.setMillisecond(999);
  b.setOffset(60);
  const DateTime c("2004-03-09 07:05:02", 1);  // parts differ: the time still counts
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == c);
  const DateTime later("2004-03-09 07:05:03", 3);
  EXPECT_TRUE(a < later && a <= later && later > a && later >= a && a != later);
  EXPECT_TRUE(a <= b && a >= b && !(a < b) && !(a > b));
  EXPECT_EQ(static_cast<long>(later) - static_cast<long>(a), 1);
}

TEST(DateTimeTest, ClearZeroesSelectedFieldsAndKeepsParts) {
  DateTime v("2004-03-09 07:05:02", 3);
  v.setMillisecond(12);
  v.setOffset(-5);
  v.clear(2);
  EXPECT_EQ(text(v), "2004-03-09 00:00:00");
  EXPECT_EQ(v.getMillisecond(), 0u);
  EXPECT_EQ(v.getOffset(), 0);
  v.clear(1);
  EXPECT_EQ(text(v), "0000-00-00 00:00:00");
}

TEST(DateTimeTest, FromSecondsRoundTripsAcrossDaylightSaving) {
  ScopedZone zone(kNewYork);
  // 2021-01-15 12:00 UTC (EST) and 2021-07-01 12:00 UTC (EDT).
  const DateTime winter(1610712000L, 3), summer(1625140800L, 3);
  EXPECT_EQ(text(winter), "2021-01-15 07:00:00");
  EXPECT_EQ(text(summer), "2021-07-01 08:00:00");
  // The standard distance from UTC, whatever the season.
  EXPECT_EQ(winter.getOffset(), -5);
  EXPECT_EQ(summer.getOffset(), -5);
  // Around the spring change and the autumn one (outside the repeated hour).
  for (long t : {0L, 1610712000L, 1625140800L, 1615705199L, 1615705200L, 1636264800L - 3601,
                 1636264800L + 3600, 2000000000L}) {
    EXPECT_EQ(static_cast<long>(DateTime(t, 3)), t) << t;
  }
  const DateTime dateOnly(1625140800L, 1);
  EXPECT_EQ(text(dateOnly), "2021-07-01");
  EXPECT_EQ(dateOnly.getHour(), 0);
  EXPECT_EQ(dateOnly.getOffset(), 0);
}

TEST(DateTimeTest, OffsetIsWholeHoursTowardZero) {
  const long t = 1625140800L;
  {
    ScopedZone zone("EST5");  // UTC-5
    EXPECT_EQ(DateTime(t, 3).getOffset(), -5);
  }
  {
    ScopedZone zone("IST-5:30");  // five and a half hours ahead
    EXPECT_EQ(DateTime(t, 3).getOffset(), 5);
    EXPECT_EQ(text(DateTime(t, 3)), "2021-07-01 17:30:00");
    // One second before the epoch is a real moment, not a failure.
    std::tm justBefore{};
    justBefore.tm_year = 70;
    justBefore.tm_mday = 1;
    justBefore.tm_hour = 5;
    justBefore.tm_min = 29;
    justBefore.tm_sec = 59;
    EXPECT_EQ(DateTime(justBefore, 3).getOffset(), 5);
  }
  {
    ScopedZone zone("NST3:30");  // three and a half hours behind
    EXPECT_EQ(DateTime(t, 3).getOffset(), -3);
  }
  {
    ScopedZone zone("UTC0");
    EXPECT_EQ(DateTime(t, 3).getOffset(), 0);
  }
}

TEST(DateTimeTest, NegativeSecondsAreRefused) {
  EXPECT_THROW_MSG(DateTime(-1L, 3), std::invalid_argument, "t is too small.");
  timeval before{};
  before.tv_sec = -100;
  EXPECT_THROW_MSG(DateTime(before, 3), std::invalid_argument, "t is too small.");
  // Past the calendar's range the platform has no local time either.
  EXPECT_THROW_MSG(DateTime(std::numeric_limits<long>::max(), 3), std::invalid_argument,
                   "t is too small.");
}

TEST(DateTimeTest, FromTmTakesMembersWithoutBounds) {
  ScopedZone zone("EST5");
  std::tm t{};
  t.tm_year = 104;
  t.tm_mon = 1;
  t.tm_mday = 31;
  t.tm_hour = 23;
  t.tm_min = 59;
  t.tm_sec = 60;
  t.tm_isdst = -1;
  const std::tm original = t;
  const DateTime v(t, 3);
  expectFields(v, 2004, 2, 31, 23, 59, 60);
  EXPECT_EQ(v.getOffset(), -5);
  EXPECT_EQ(t.tm_mday, original.tm_mday);  // the caller's tm is not normalised
  EXPECT_EQ(t.tm_sec, 60);
  const DateTime dateOnly(t, 1);
  EXPECT_EQ(dateOnly.getOffset(), 0);
  EXPECT_EQ(dateOnly.getSecond(), 0);
  t.tm_year = 12000;  // a five-digit year prints five digits
  EXPECT_EQ(text(DateTime(t, 1)), "13900-02-31");
  t.tm_year = std::numeric_limits<int>::max();  // the months carry past the last year
  t.tm_mon = 23;
  EXPECT_EQ(DateTime(t, 3).getOffset(), 0);  // no second for it
}

TEST(DateTimeTest, FromTimevalTakesMilliseconds) {
  ScopedZone zone("UTC0");
  timeval tv{};
  tv.tv_sec = 1625140800;
  tv.tv_usec = 999999;
  const DateTime v(tv, 3);
  EXPECT_EQ(text(v), "2021-07-01 12:00:00");
  EXPECT_EQ(v.getMillisecond(), 999u);
  EXPECT_EQ(DateTime(tv, 1).getMillisecond(), 999u);  // whatever the parts
}

TEST(DateTimeTest, StreamInsertionWritesTheTextForm) {
  std::ostringstream out;
  out << DateTime("2004-03-09", 1) << '|' << DateTime("07:05:02", 2);
  EXPECT_EQ(out.str(), "2004-03-09|07:05:02");
}

}  // namespace
