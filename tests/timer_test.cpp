#include "lumbrel/Timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iomanip>
#include <sstream>
#include <string>
#include <thread>

#include "time/Elapsed.h"

using Lumbrel::Timer;

namespace {

// Digits, a point and exactly three decimals.
bool hasThreeDecimals(const std::string& text) {
  const std::size_t point = text.find('.');
  if (point == std::string::npos || point == 0 || text.size() - point != 4) return false;
  return text.find_first_not_of("0123456789.") == std::string::npos &&
         text.find('.', point + 1) == std::string::npos;
}

std::string elapsed(unsigned nowS, unsigned nowMs, unsigned thenS, unsigned thenMs) {
  std::ostringstream out;
  Lumbrel::detail::printElapsed(out, nowS, nowMs, thenS, thenMs);
  return out.str();
}

TEST(TimerTest, PrintsThreeDecimalsAndLeavesTheFlagsSet) {
  const Timer timer;
  std::ostringstream out;
  out << std::scientific << timer;
  EXPECT_TRUE(hasThreeDecimals(out.str())) << out.str();
  EXPECT_EQ(out.flags() & std::ios_base::floatfield, std::ios_base::fixed);
  EXPECT_TRUE(out.flags() & std::ios_base::showpoint);
  EXPECT_EQ(out.precision(), 3);
  out.str("");
  out << 2.0 << ' ' << 1.23456;
  EXPECT_EQ(out.str(), "2.000 1.235");
}

TEST(TimerTest, ElapsedTimeIsFormedInSinglePrecision) {
  EXPECT_EQ(elapsed(100000, 123, 0, 0), "100000.125");
  EXPECT_EQ(elapsed(1000, 500, 999, 0), "1.500");
  EXPECT_EQ(elapsed(7, 0, 7, 0), "0.000");
  EXPECT_EQ(elapsed(10, 0, 11, 500), "-1.500");  // the clock was set back
  // Width and fill apply as to any number.
  std::ostringstream out;
  out << std::setw(8) << std::setfill('*');
  Lumbrel::detail::printElapsed(out, 1, 250, 1, 0);
  EXPECT_EQ(out.str(), "***0.250");
}

TEST(TimerTest, ReadingIsTheWallClockAndStaysPut) {
  const auto before = std::chrono::duration_cast<std::chrono::seconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  const Timer timer;
  EXPECT_GE(static_cast<long long>(timer.getSeconds()), before);
  EXPECT_LE(static_cast<long long>(timer.getSeconds()), before + 5);
  EXPECT_LT(timer.getMilliseconds(), 1000u);
  const unsigned seconds = timer.getSeconds(), milliseconds = timer.getMilliseconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  std::ostringstream out;
  out << timer;
  EXPECT_EQ(timer.getSeconds(), seconds);
  EXPECT_EQ(timer.getMilliseconds(), milliseconds);
}

TEST(TimerTest, CopiesHoldTheReadingAndResetTakesANewOne) {
  Timer first;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const Timer copy(first);
  Timer assigned;
  assigned = first;
  EXPECT_EQ(copy.getSeconds(), first.getSeconds());
  EXPECT_EQ(copy.getMilliseconds(), first.getMilliseconds());
  EXPECT_EQ(assigned.getSeconds(), first.getSeconds());
  EXPECT_EQ(assigned.getMilliseconds(), first.getMilliseconds());

  const unsigned long long before = first.getSeconds() * 1000ULL + first.getMilliseconds();
  first.reset();
  const unsigned long long after = first.getSeconds() * 1000ULL + first.getMilliseconds();
  EXPECT_GT(after, before);  // 20 ms were slept in between
  std::ostringstream out;
  out << first;
  EXPECT_LT(std::stod(out.str()), 60.0);  // counts from the reset
}

}  // namespace
