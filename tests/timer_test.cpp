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

// The reading in milliseconds since the epoch.
unsigned long long reading(const Timer& timer) {
  return timer.getSeconds() * 1000ULL + timer.getMilliseconds();
}

TEST(TimerTest, PrintsThreeDecimalsAndLeavesTheFlagsSet) {
  const Timer timer;
  std::ostringstream out;
  out << std::scientific << timer;
  const std::string printed = out.str();
  EXPECT_EQ(printed.find_first_not_of("0123456789."), std::string::npos) << printed;
  EXPECT_EQ(printed.find('.'), printed.size() - 4) << printed;
  EXPECT_TRUE(out.flags() & std::ios_base::showpoint);
  out.str("");
  out << 2.0 << ' ' << 1.23456;
  EXPECT_EQ(out.str(), "2.000 1.235");

  // Single precision: about seven significant digits. A clock set back gives a negative time,
  // and width and fill apply as to any number.
  std::ostringstream chosen;
  Lumbrel::detail::printElapsed(chosen, 100000, 123, 0, 0);
  chosen << ' ' << std::setw(7) << std::setfill('*');
  Lumbrel::detail::printElapsed(chosen, 10, 0, 11, 500);
  EXPECT_EQ(chosen.str(), "100000.125 *-1.500");
}

TEST(TimerTest, ReadingIsTheWallClockAndCopiesHoldIt) {
  const long long before = std::time(nullptr);
  Timer timer;
  EXPECT_GE(static_cast<long long>(timer.getSeconds()), before);
  EXPECT_LT(timer.getMilliseconds(), 1000u);
  const unsigned long long first = reading(timer);
  const Timer copy(timer);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(reading(timer), first);
  EXPECT_EQ(reading(copy), first);
  timer.reset();
  EXPECT_GT(reading(timer), first);  // 20 ms were slept
}

}  // namespace
