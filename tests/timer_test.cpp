#include "lumbrel/Timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>
#include <thread>

#include "time/Elapsed.h"

using Lumbrel::Timer;

namespace {

TEST(TimerTest, PrintsThreeDecimalsAndLeavesTheFlagsSet) {
  std::ostringstream out;
  out << std::scientific << Timer() << ' ' << 2.0 << ' ' << 1.23456;
  out << ' ' << std::setprecision(0) << 2.0;  // showpoint stays too
  // The reading is digits, a point and three digits (std::regex trips g++ 12's warnings).
  const std::string text = out.str(), reading = text.substr(0, text.find(' '));
  EXPECT_EQ(text.substr(reading.size()), " 2.000 1.235 2.");
  EXPECT_TRUE(reading.size() >= 5 && reading.find_first_not_of("0123456789.") == std::string::npos &&
              reading.find('.') == reading.size() - 4)
      << text;

  // Single precision: about seven significant digits. A clock set back gives a negative time,
  // and width and fill apply as to any number.
  std::ostringstream chosen;
  Lumbrel::detail::printElapsed(chosen, 100000, 123, 0, 0);
  Lumbrel::detail::printElapsed(chosen << ' ' << std::setw(7) << std::setfill('*'), 10, 0, 11, 500);
  EXPECT_EQ(chosen.str(), "100000.125 *-1.500");
}

TEST(TimerTest, ReadingIsTheWallClockUntilReset) {
  auto reading = [](const Timer& t) { return t.getSeconds() * 1000ULL + t.getMilliseconds(); };
  const long long before = std::time(nullptr);
  Timer timer;
  EXPECT_GE(static_cast<long long>(timer.getSeconds()), before);
  EXPECT_LT(timer.getMilliseconds(), 1000u);
  const unsigned long long first = reading(timer);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(reading(timer), first);  // the reading stays until reset
  timer.reset();
  EXPECT_GT(reading(timer), first);  // 20 ms were slept
}

}  // namespace
